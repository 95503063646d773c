#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// Runs that do not take place, with the reason that is printed.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using AggregateErrors = AggregateTest;

TEST_F(AggregateErrors, RefusesUnusableSource) {
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("file", At("filelink"));
  MakeLink("loop", At("loop"));
  const std::string made = At("made");
  ExpectError({"aggregate", At("missing"), made}, At("missing") + ": No such file or directory");
  ExpectError({"aggregate", At("file"), made}, At("file") + ": Not a directory");
  ExpectError({"aggregate", At("filelink"), made}, At("filelink") + ": Not a directory");
  ExpectError({"aggregate", At("file/below"), made}, ": Not a directory");
  ExpectError({"aggregate", At("dangling"), made}, ": No such file or directory");
  ExpectError({"aggregate", At("loop"), made}, ": Too many levels of symbolic links");
  ExpectError({"aggregate", At("loop/below/more"), made}, ": Too many levels of symbolic links");
  ExpectError({"aggregate", "", made}, "\"\": Invalid argument");
  ExpectError({"aggregate", std::string(5000, 'x'), made}, "xx: File name too long or invalid");
  ExpectError({"aggregate", "new\nline\x1b[2J", made},
              "new\\nline\\x1b[2J: No such file or directory");
}

TEST_F(AggregateErrors, RefusesUnreadableSource) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  const ProgramSetup ordinary = {.isOrdinaryUser = true};
  const std::vector<std::string> arguments = {"aggregate", At("source"), At("made")};
  for (const mode_t mode : {0000U, 0111U, 0444U}) {
    EXPECT_EQ(0, chmod(At("source").c_str(), mode));
    ExpectError(arguments, ": Permission denied", 1, ordinary);
  }
  EXPECT_EQ(0, chmod(At("source").c_str(), 0755));
  EXPECT_EQ(0, chmod(At("Some.app/Contents/Resources").c_str(), 0000));
  ExpectError({"aggregate", At("Some.app"), At("made")}, ": Permission denied", 1, ordinary);
}

TEST_F(AggregateErrors, ReportsUnlistedSubfolder) {
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
  EXPECT_THAT(result.output, testing::StartsWith("1 filed, 0 skipped, 1 failed in "));
  EXPECT_THAT(result.Problems(),
              ElementsAre(At("source/closed") +
                          ": contents not filed: cannot list the folder: Permission denied"));
  EXPECT_EQ(0, chmod(At("source/closed").c_str(), 0755));
}

TEST_F(AggregateErrors, RefusesApplicationWithoutResources) {
  WriteFile(At("Some.app/Contents/Info.plist"));
  ExpectError({"aggregate", At("Some.app"), At("made")},
              At("Some.app") +
                  ": the application has no readable resources folder; use "
                  "--whole-application to sort all of it");
}

TEST_F(AggregateErrors, RefusesSourceAsDestination) {
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

TEST_F(AggregateErrors, RefusesResourcesAsDestination) {
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  ExpectError({"aggregate", At("Some.app"), At("Some.app/Contents/Resources")},
              "The destination directory can not be the same as the source directory");
}

TEST_F(AggregateErrors, RefusesBindMountOfSourceAsDestination) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  WriteFile(At("source/a.txt"));
  const ProgramSetup mounted = {.bindSource = At("source"), .bindTarget = At("destination")};
  if (Run({"--version"}, mounted).status == kCannotStart) GTEST_SKIP() << "mounting is not allowed";
  ExpectError({"aggregate", At("source"), At("destination")},
              "The destination directory can not be the same as the source directory", 1, mounted);
}

TEST_F(AggregateErrors, RefusesUnusableDestination) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("missing/below", At("deep"));
  MakeLink("loop", At("loop"));
  const std::string source = At("source");
  const std::string noParent =
      ": cannot create the folder in " + At("missing/") + ": No such file or directory";
  const std::string isLink = ": cannot create the folder: it is a dangling symbolic link";
  ExpectError({"aggregate", source, At("file")}, At("file") + ": Not a directory");
  ExpectError({"aggregate", source, At("file/below")}, ": Not a directory");
  ExpectError({"aggregate", source, At("missing/below")}, At("missing/below") + noParent);
  ExpectError({"aggregate", source, At("missing/..")}, At("missing/..") + noParent);
  ExpectError({"aggregate", source, At("missing/.")}, At("missing/.") + noParent);
  ExpectError({"aggregate", source, At("dangling")}, At("dangling") + isLink);
  ExpectError({"aggregate", source, At("dangling/")}, At("dangling/") + isLink);
  ExpectError({"aggregate", source, At("deep")}, At("deep") + isLink);
  ExpectError({"aggregate", source, At("loop")}, ": Too many levels of symbolic links");
  ExpectError({"aggregate", source, ""}, "\"\": Invalid argument");
  ExpectError({"aggregate", source, At(std::string(300, 'x'))},
              "xx: File name too long or invalid");
}

TEST_F(AggregateErrors, RefusesDestinationWithoutPermission) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0555));
  ExpectError({"aggregate", At("source"), At("destination/made")},
              ": cannot create the folder: Permission denied", 1, {.isOrdinaryUser = true});
}

TEST_F(AggregateErrors, RefusesBadUsage) {
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
