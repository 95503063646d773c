#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// Runs that do not take place, with the reason that users are told.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using AggregateErrors = AggregateTest;

TEST_F(AggregateErrors, RefusesASourceThatIsNone) {
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("file", At("filelink"));
  MakeLink("loop", At("loop"));
  const std::string made = At("made");
  ExpectError({"aggregate", At("missing"), made}, "no such file or folder");
  ExpectError({"aggregate", At("file"), made}, "it is no folder");
  ExpectError({"aggregate", At("filelink"), made}, "it is no folder");
  ExpectError({"aggregate", At("file/below"), made}, "no folder");
  ExpectError({"aggregate", At("dangling"), made}, "no such file or folder");
  ExpectError({"aggregate", At("loop"), made}, "circle");
  ExpectError({"aggregate", "", made}, "empty");
  ExpectError({"aggregate", std::string(5000, 'x'), made}, "too long");
  ExpectError({"aggregate", "new\nline\x1b[2J", made}, "\"new\\nline\\x1b[2J\"");
}

TEST_F(AggregateErrors, RefusesASourceThatCannotBeRead) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  const ProgramSetup ordinary = {.isOrdinaryUser = true};
  const std::vector<std::string> arguments = {"aggregate", At("source"), At("made")};
  for (const mode_t mode : {0000U, 0111U, 0444U}) {
    EXPECT_EQ(0, chmod(At("source").c_str(), mode));
    ExpectError(arguments, "permission denied", 1, ordinary);
  }
  EXPECT_EQ(0, chmod(At("source").c_str(), 0755));
  EXPECT_EQ(0, chmod(At("Some.app/Contents/Resources").c_str(), 0000));
  ExpectError({"aggregate", At("Some.app"), At("made")}, "permission denied", 1, ordinary);
}

TEST_F(AggregateErrors, TellsOfAFolderThatItCouldNotList) {
  OpenToOrdinaryUser();
  WriteFile(At("source/closed/a.txt"));
  WriteFile(At("source/b.txt"));
  WriteFile(At("destination/.keep"));
  OpenToOrdinaryUser();
  EXPECT_EQ(0, chmod(At("source/closed").c_str(), 0));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0777));
  const ProgramResult result =
      Run({"aggregate", "--recurse", At("source"), At("destination")}, {.isOrdinaryUser = true});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, testing::StartsWith("1 filed, 0 left, 1 failed, "));
  ASSERT_EQ(1U, result.Problems().size());
  EXPECT_THAT(result.Problems()[0], testing::HasSubstr(At("source/closed")));
  EXPECT_EQ(0, chmod(At("source/closed").c_str(), 0755));
}

TEST_F(AggregateErrors, RefusesAnApplicationWithoutResources) {
  WriteFile(At("Some.app/Contents/Info.plist"));
  ExpectError({"aggregate", At("Some.app"), At("made")}, "--whole-application");
}

TEST_F(AggregateErrors, RefusesTheSourceAsTheDestination) {
  WriteFile(At("source/a.txt"));
  MakeLink("source", At("link"));
  const std::string reason =
      "The destination directory can not be the same as the source directory";
  ExpectError({"aggregate", At("source"), At("source")}, reason);
  ExpectError({"aggregate", At("source"), At("source/")}, reason);
  ExpectError({"aggregate", At("source"), At("destination/../source")}, reason);
  ExpectError({"aggregate", At("source"), At("link")}, reason);
  ExpectError({"aggregate", At("link"), At("source")}, reason);
  ExpectError({"aggregate", At("link"), At("link/.")}, reason);
  ExpectError({"aggregate", At("source"), "."}, reason, 1, {.folder = At("source")});
  ExpectError({"aggregate", ".", At("source")}, reason, 1, {.folder = At("source")});
}

TEST_F(AggregateErrors, RefusesTheResourcesOfItsApplicationAsTheDestination) {
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  ExpectError({"aggregate", At("Some.app"), At("Some.app/Contents/Resources")},
              "The destination directory can not be the same as the source directory");
}

TEST_F(AggregateErrors, RefusesTheSourceMountedElsewhereAsTheDestination) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  WriteFile(At("source/a.txt"));
  const ProgramSetup mounted = {.bindSource = At("source"), .bindTarget = At("destination")};
  if (Run({"--version"}, mounted).status == kCannotStart) GTEST_SKIP() << "mounting is not allowed";
  ExpectError({"aggregate", At("source"), At("destination")},
              "The destination directory can not be the same as the source directory", 1, mounted);
}

TEST_F(AggregateErrors, RefusesADestinationThatIsNone) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("missing/below", At("deep"));
  MakeLink("loop", At("loop"));
  const std::string source = At("source");
  ExpectError({"aggregate", source, At("file")}, "it is no folder");
  ExpectError({"aggregate", source, At("file/below")}, "no folder");
  ExpectError({"aggregate", source, At("missing/below")}, "parent folder");
  ExpectError({"aggregate", source, At("missing/..")}, "parent folder");
  ExpectError({"aggregate", source, At("missing/.")}, "parent folder");
  ExpectError({"aggregate", source, At("dangling")}, "cannot be made");
  ExpectError({"aggregate", source, At("dangling/")}, "cannot be made");
  ExpectError({"aggregate", source, At("deep")}, "cannot be made");
  ExpectError({"aggregate", source, At("loop")}, "circle");
  ExpectError({"aggregate", source, ""}, "empty");
  ExpectError({"aggregate", source, At(std::string(300, 'x'))}, "too long");
}

TEST_F(AggregateErrors, RefusesADestinationThatCannotBeMade) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0555));
  ExpectError({"aggregate", At("source"), At("destination/made")}, "permission denied", 1,
              {.isOrdinaryUser = true});
}

TEST_F(AggregateErrors, RefusesBadUsageTouchingNothing) {
  WriteFile(At("source/a.txt"));
  const std::string source = At("source");
  const std::string made = At("made");
  ExpectError({}, "missing command", 2);
  ExpectError({"file", source, made}, "file: unknown command", 2);
  ExpectError({"aggregate", "--fast", source, made}, "--fast: unknown option", 2);
  ExpectError({"aggregate", source}, "missing DESTINATION", 2);
  ExpectError({"aggregate", source, made, "more"}, "more: unexpected argument", 2);
  ExpectError({"aggregate", "--kind", "size", source, made}, "size: unknown kind", 2);
  ExpectError({"aggregate", "--move", "--copy", source, made}, "--move and --copy", 2);
}

}  // namespace
}  // namespace tessary::test
