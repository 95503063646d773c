#include "programs/cli/aggregate_command.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>

#include "platform/managers/window_system.h"
#include "platform/terminal/terminal_window_system.h"
#include "tests/programs/program.h"
#include "tests/support/captured_log.h"
#include "tests/support/preferences_folder.h"

// The program as a user or a script runs it.
namespace tessary {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using testing::CapturedLog;
using ::testing::Contains;
using testing::DescribeTree;
using ::testing::ElementsAre;
using testing::Exists;
using testing::FilesBelow;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::kCannotStart;
using testing::MakeFolder;
using testing::MakeLink;
using ::testing::MatchesRegex;
using testing::NamesIn;
using ::testing::Not;
using testing::PreferencesFolder;
using testing::ProgramResult;
using testing::ProgramSetup;
using testing::ProgramTest;
using testing::ReadFile;
using testing::SetAttribute;
using testing::SetFinderInfo;
using testing::SetModificationDate;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using testing::WriteFile;

constexpr int64_t kMarch2009 = 1236168000;  // 2009-03-04 12:00 UTC

class AggregateCommand : public ProgramTest {
 protected:
  AggregateCommand() {
    MakeFolder(At("source"));
    MakeFolder(At("destination"));
  }

  // A few files of the awkward kinds, all modified on one day of 2009.
  void FillSource() const {
    WriteFile(At("source/a.txt"), "a");
    WriteFile(At("source/caf\xe9.txt"), "bytes");
    WriteFile(At("source/new\nline.txt"), "newline");
    WriteFile(At("source/two..txt"), "dots");
    WriteFile(At("source/.hidden.txt"), "hidden");
    WriteFile(At("source/none"), "no extension");
    fs::create_hard_link(At("source/a.txt"), At("source/hard.txt"));
    MakeLink("nowhere", At("source/dangling.txt"));
    for (const std::string& name : NamesIn(At("source"))) {
      SetModificationDate(At("source/" + name), kMarch2009);
    }
  }

  // The run is refused with one line that contains `reason`, and nothing changed on disk.
  void ExpectRefusal(const std::vector<std::string>& arguments, const std::string& reason,
                     int status = 1, const ProgramSetup& setup = {}) const {
    const std::vector<std::string> before = DescribeTree(At(""));
    const ProgramResult result = Run(arguments, setup);
    EXPECT_EQ(status, result.status) << result.errors;
    EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr(reason)));
    EXPECT_THAT(result.LogMessages(), IsEmpty());
    EXPECT_EQ("", result.output);
    EXPECT_EQ(before, DescribeTree(At(""))) << reason;
  }
};

// The kinds.

TEST_F(AggregateCommand, CopiesByExtensionWhenNothingIsStored) {
  FillSource();
  const std::vector<std::string> before = DescribeTree(At("source"));
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, MatchesRegex("6 filed, 1 left, 0 failed, [0-9]+\\.[0-9] secs\n"));
  EXPECT_THAT(FilesBelow(At("destination")),
              UnorderedElementsAre("txt/a.txt", "txt/caf\xe9.txt", "txt/new\nline.txt",
                                   "txt/two..txt", "txt/hard.txt", "txt/dangling.txt"));
  EXPECT_EQ(before, DescribeTree(At("source")));
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.LogMessages(), Contains("Aggregating folder source"));
}

TEST_F(AggregateCommand, MovesByExtension) {
  FillSource();
  const ProgramResult result = Aggregate({"--move", "--kind", "extension"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("6 filed, 1 left, 0 failed, "));
  EXPECT_THAT(NamesIn(At("source")), UnorderedElementsAre(".hidden.txt", "none"));
  EXPECT_EQ("newline", ReadFile(At("destination/txt/new\nline.txt")));
}

TEST_F(AggregateCommand, FilesByFileType) {
  WriteFile(At("source/mapped.odd"));
  WriteFile(At("source/unmapped.unheard"));
  WriteFile(MappingPath(), ".odd \"ODD\"\n");
  WriteFile(At("source/typed"));
  if (!SetFinderInfo(At("source/typed"), "ABCD", 0)) GTEST_SKIP() << "no attributes here";
  const ProgramResult result = Aggregate({"--kind=file-type"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("2 filed, 1 left, 0 failed, "));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("ABCD/typed", "ODD /mapped.odd"));
}

TEST_F(AggregateCommand, FilesByMimeType) {
  WriteFile(At("source/photo.jpg"));
  WriteFile(At("source/strange.unheard"));
  const ProgramResult result = Aggregate({"--kind=mime-type"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("2 filed, 0 left, 0 failed, "));
  EXPECT_THAT(FilesBelow(At("destination")),
              ElementsAre("application:unheard/strange.unheard", "image:jpeg/photo.jpg"));
}

TEST_F(AggregateCommand, FilesByModificationDateCountingEachItemOnce) {
  FillSource();
  fs::remove(At("source/dangling.txt"));
  const ProgramResult result = Aggregate({"--kind=modification-date"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("6 filed, 0 left, 0 failed, "));
  EXPECT_THAT(FilesBelow(At("destination")),
              UnorderedElementsAre("2009/Mar 04, 2009/a.txt", "2009/Mar 04, 2009/caf\xe9.txt",
                                   "2009/Mar 04, 2009/new\nline.txt", "2009/Mar 04, 2009/two..txt",
                                   "2009/Mar 04, 2009/hard.txt", "2009/Mar 04, 2009/none"));
}

TEST_F(AggregateCommand, FilesByCreationDate) {
  WriteFile(At("source/a.txt"));
  if (!SetAttribute(At("source/a.txt"), "user.tessary.creation-date",
                    "2008-02-03T04:05:06.000000000Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  const ProgramResult result = Aggregate({"--kind=creation-date"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 left, 0 failed, "));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("2008/Feb 03, 2008/a.txt"));
}

TEST_F(AggregateCommand, NamesTheMonthsInTheLanguageOfTheUser) {
  const std::string command =
      "localedef --no-archive -i de_DE -f UTF-8 '" + At("de_DE.UTF-8") + "' >/dev/null 2>&1";
  // It answers failure for mere warnings too.
  const int ignored = std::system(command.c_str());
  (void)ignored;
  if (!Exists(At("de_DE.UTF-8/LC_TIME"))) GTEST_SKIP() << "no sources of locales are installed";
  WriteFile(At("source/a.txt"));
  SetModificationDate(At("source/a.txt"), kMarch2009);
  // The C library itself loses the text of LOCPATH, which a sanitized program would end with.
  const ProgramSetup german = {.environment = {{"LOCPATH", At("")},
                                               {"LC_ALL", "de_DE.UTF-8"},
                                               {"ASAN_OPTIONS", "detect_leaks=0"}}};
  EXPECT_EQ(0, Aggregate({"--kind=modification-date"}, german).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("2009/Mär 04, 2009/a.txt"));
}

// Options over settings.

TEST_F(AggregateCommand, LaysOptionsOverStoredSettingsAndWritesNothing) {
  const std::string stored =
      "# mine\nTessaryType = 3\nFileOperation = 2\nRecurseFolders = false\nUnknown = \"x\"\n";
  WriteFile(PreferencesPath(), stored);
  WriteFile(At("source/below/a.txt"));
  const std::vector<std::string> before = DescribeTree(At("config"));
  const ProgramResult result = Aggregate({"--kind", "extension", "--move", "--recurse"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
  EXPECT_THAT(FilesBelow(At("source")), IsEmpty());
  EXPECT_TRUE(Exists(At("source/below")));
  EXPECT_EQ(stored, ReadFile(PreferencesPath()));
  EXPECT_EQ(before, DescribeTree(At("config")));
}

TEST_F(AggregateCommand, AppliesStoredSettings) {
  WriteFile(PreferencesPath(), "TessaryType = 3\nFileOperation = 1\nRecurseFolders = true\n");
  WriteFile(At("source/below/a.unheard"));
  EXPECT_EQ(0, Aggregate({}).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("application:unheard/a.unheard"));
  EXPECT_THAT(FilesBelow(At("source")), IsEmpty());
}

TEST_F(AggregateCommand, MakesNoPreferencesFile) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Aggregate({"--move", "--replace", "--kind=mime-type"}).status);
  EXPECT_THAT(NamesIn(At("config")), IsEmpty());
}

TEST_F(AggregateCommand, KeepsBothFilesUnlessToldToReplace) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  EXPECT_EQ(0, Aggregate({}).status);
  EXPECT_THAT(NamesIn(At("destination/txt")),
              ElementsAre(MatchesRegex("a - [0-9A-F-]{36}\\.txt"), "a.txt"));
  EXPECT_EQ("old", ReadFile(At("destination/txt/a.txt")));
}

TEST_F(AggregateCommand, ReplacesWhenTold) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  EXPECT_EQ(0, Aggregate({"--replace"}).status);
  EXPECT_THAT(NamesIn(At("destination/txt")), ElementsAre("a.txt"));
  EXPECT_EQ("new", ReadFile(At("destination/txt/a.txt")));
}

TEST_F(AggregateCommand, ReducesAnApplicationToItsResourcesUnlessToldOtherwise) {
  WriteFile(At("Some.app/Contents/Info.plist"));
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  EXPECT_EQ(0, Run({"aggregate", "--recurse", At("Some.app"), At("resources")}).status);
  EXPECT_THAT(FilesBelow(At("resources")), ElementsAre("png/icon.png"));
  EXPECT_EQ(
      0,
      Run({"aggregate", "--recurse", "--whole-application", At("Some.app"), At("whole")}).status);
  EXPECT_THAT(FilesBelow(At("whole")), ElementsAre("plist/Info.plist", "png/icon.png"));
}

// Statuses of a run.

TEST_F(AggregateCommand, EndsWithThreeWhereSomeItemsCouldNotBeFiled) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("source/b.md"));
  WriteFile(At("destination/txt"), "in the way");
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 left, 1 failed, "));
  EXPECT_TRUE(Exists(At("source/a.txt")));
  EXPECT_EQ("in the way", ReadFile(At("destination/txt")));
  EXPECT_THAT(result.LogMessages(), Contains(HasSubstr("could not be moved to")));
}

TEST_F(AggregateCommand, EndsWithThreeWhereTheDestinationCannotBeWritten) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0555));
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Aggregate({}, {.isOrdinaryUser = true});
  EXPECT_EQ(3, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("0 filed, 0 left, 1 failed, "));
  EXPECT_EQ(before, DescribeTree(At("")));
}

TEST_F(AggregateCommand, EndsWithTheStatusOfTheRunWhateverTheSettingsSayOfQuitting) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Aggregate({}).status);
  WriteFile(At("source/b.md"));
  WriteFile(At("destination/md"), "in the way");
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 left, 1 failed, "));
  EXPECT_THAT(result.errors, Not(HasSubstr("Bye.")));
  EXPECT_EQ("QuitWhenDone = true\n", ReadFile(PreferencesPath()));
}

TEST_F(AggregateCommand, SaysNothingButItsLogAndItsSummary) {
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_THAT(result.LogMessages(),
              ElementsAre("Aggregating folder source", "Moved \"a.txt\" to \"txt\""));
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.output, MatchesRegex("1 filed, 0 left, 0 failed, [0-9]+\\.[0-9] secs\n"));
}

TEST_F(AggregateCommand, FilesNothingOfAnEmptySource) {
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("0 filed, 0 left, 0 failed, "));
}

TEST_F(AggregateCommand, CountsWhatIsInPlaceAlreadyAsLeft) {
  WriteFile(At("destination/txt/a.txt"), "in place");
  const ProgramResult result =
      Run({"aggregate", "--recurse", "--move", At("destination/txt"), At("destination")});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("0 filed, 1 left, 0 failed, "));
  EXPECT_EQ("in place", ReadFile(At("destination/txt/a.txt")));
}

// Sources and destinations.

TEST_F(AggregateCommand, FollowsALinkToTheSource) {
  WriteFile(At("source/a.txt"));
  MakeLink("source", At("link"));
  EXPECT_EQ(0, Run({"aggregate", "--move", At("link"), At("destination")}).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
  EXPECT_TRUE(Exists(At("link")));
}

TEST_F(AggregateCommand, FollowsALinkToTheDestination) {
  WriteFile(At("source/a.txt"));
  MakeLink("destination", At("link"));
  EXPECT_EQ(0, Run({"aggregate", At("source"), At("link")}).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateCommand, TakesPathsRelativeToTheWorkingFolder) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Run({"aggregate", ".", "../made"}, {.folder = At("source")}).status);
  EXPECT_THAT(FilesBelow(At("made")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateCommand, TakesADestinationInsideTheSource) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Run({"aggregate", "--move", ".", "made"}, {.folder = At("source")}).status);
  EXPECT_THAT(FilesBelow(At("source")), ElementsAre("made/txt/a.txt"));
}

TEST_F(AggregateCommand, MakesAMissingDestinationUnderTheNameThatWasTyped) {
  WriteFile(At("source/a.txt"));
  for (const std::string name :
       {"plain", "a:b", "caf\xe9", "new\nline", "-dash", ".dotted", "slashes//"}) {
    EXPECT_EQ(0, Run({"aggregate", "--", "source", name}, {.folder = At("")}).status) << name;
    EXPECT_TRUE(Exists(At(name + "/txt/a.txt"))) << name;
  }
}

TEST_F(AggregateCommand, RefusesASourceThatIsNone) {
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("file", At("filelink"));
  MakeLink("loop", At("loop"));
  const std::string made = At("made");
  ExpectRefusal({"aggregate", At("missing"), made}, "no such file or folder");
  ExpectRefusal({"aggregate", At("file"), made}, "it is no folder");
  ExpectRefusal({"aggregate", At("filelink"), made}, "it is no folder");
  ExpectRefusal({"aggregate", At("file/below"), made}, "no folder");
  ExpectRefusal({"aggregate", At("dangling"), made}, "no such file or folder");
  ExpectRefusal({"aggregate", At("loop"), made}, "circle");
  ExpectRefusal({"aggregate", "", made}, "empty");
  ExpectRefusal({"aggregate", std::string(5000, 'x'), made}, "too long");
  ExpectRefusal({"aggregate", "new\nline\x1b[2J", made}, "\"new\\nline\\x1b[2J\"");
}

TEST_F(AggregateCommand, RefusesASourceThatCannotBeRead) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  const ProgramSetup ordinary = {.isOrdinaryUser = true};
  const std::vector<std::string> arguments = {"aggregate", At("source"), At("made")};
  for (const mode_t mode : {0000U, 0111U, 0444U}) {
    EXPECT_EQ(0, chmod(At("source").c_str(), mode));
    ExpectRefusal(arguments, "permission denied", 1, ordinary);
  }
  EXPECT_EQ(0, chmod(At("source").c_str(), 0755));
  EXPECT_EQ(0, chmod(At("Some.app/Contents/Resources").c_str(), 0000));
  ExpectRefusal({"aggregate", At("Some.app"), At("made")}, "permission denied", 1, ordinary);
}

TEST_F(AggregateCommand, TellsOfAFolderThatItCouldNotList) {
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
  EXPECT_THAT(result.output, ::testing::StartsWith("1 filed, 0 left, 1 failed, "));
  ASSERT_EQ(1U, result.Problems().size());
  EXPECT_THAT(result.Problems()[0], ::testing::HasSubstr(At("source/closed")));
  EXPECT_EQ(0, chmod(At("source/closed").c_str(), 0755));
}

TEST_F(AggregateCommand, RefusesAnApplicationWithoutResources) {
  WriteFile(At("Some.app/Contents/Info.plist"));
  ExpectRefusal({"aggregate", At("Some.app"), At("made")}, "--whole-application");
}

TEST_F(AggregateCommand, RefusesTheSourceAsTheDestination) {
  WriteFile(At("source/a.txt"));
  MakeLink("source", At("link"));
  const std::string reason =
      "The destination directory can not be the same as the source directory";
  ExpectRefusal({"aggregate", At("source"), At("source")}, reason);
  ExpectRefusal({"aggregate", At("source"), At("source/")}, reason);
  ExpectRefusal({"aggregate", At("source"), At("destination/../source")}, reason);
  ExpectRefusal({"aggregate", At("source"), At("link")}, reason);
  ExpectRefusal({"aggregate", At("link"), At("source")}, reason);
  ExpectRefusal({"aggregate", At("link"), At("link/.")}, reason);
  ExpectRefusal({"aggregate", At("source"), "."}, reason, 1, {.folder = At("source")});
  ExpectRefusal({"aggregate", ".", At("source")}, reason, 1, {.folder = At("source")});
}

TEST_F(AggregateCommand, RefusesTheResourcesOfItsApplicationAsTheDestination) {
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  ExpectRefusal({"aggregate", At("Some.app"), At("Some.app/Contents/Resources")},
                "The destination directory can not be the same as the source directory");
}

TEST_F(AggregateCommand, RefusesTheSourceMountedElsewhereAsTheDestination) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  WriteFile(At("source/a.txt"));
  const ProgramSetup mounted = {.bindSource = At("source"), .bindTarget = At("destination")};
  if (Run({"--version"}, mounted).status == kCannotStart) GTEST_SKIP() << "mounting is not allowed";
  ExpectRefusal({"aggregate", At("source"), At("destination")},
                "The destination directory can not be the same as the source directory", 1,
                mounted);
}

TEST_F(AggregateCommand, RefusesADestinationThatIsNone) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("file"));
  MakeLink("nowhere", At("dangling"));
  MakeLink("missing/below", At("deep"));
  MakeLink("loop", At("loop"));
  const std::string source = At("source");
  ExpectRefusal({"aggregate", source, At("file")}, "it is no folder");
  ExpectRefusal({"aggregate", source, At("file/below")}, "no folder");
  ExpectRefusal({"aggregate", source, At("missing/below")}, "parent folder");
  ExpectRefusal({"aggregate", source, At("missing/..")}, "parent folder");
  ExpectRefusal({"aggregate", source, At("missing/.")}, "parent folder");
  ExpectRefusal({"aggregate", source, At("dangling")}, "cannot be made");
  ExpectRefusal({"aggregate", source, At("dangling/")}, "cannot be made");
  ExpectRefusal({"aggregate", source, At("deep")}, "cannot be made");
  ExpectRefusal({"aggregate", source, At("loop")}, "circle");
  ExpectRefusal({"aggregate", source, ""}, "empty");
  ExpectRefusal({"aggregate", source, At(std::string(300, 'x'))}, "too long");
}

TEST_F(AggregateCommand, RefusesADestinationThatCannotBeMade) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0555));
  ExpectRefusal({"aggregate", At("source"), At("destination/made")}, "permission denied", 1,
                {.isOrdinaryUser = true});
}

TEST_F(AggregateCommand, RefusesBadUsageTouchingNothing) {
  WriteFile(At("source/a.txt"));
  const std::string source = At("source");
  const std::string made = At("made");
  ExpectRefusal({}, "no command", 2);
  ExpectRefusal({"file", source, made}, "\"file\"", 2);
  ExpectRefusal({"aggregate", "--fast", source, made}, "\"--fast\"", 2);
  ExpectRefusal({"aggregate", source}, "no destination", 2);
  ExpectRefusal({"aggregate", source, made, "more"}, "\"more\"", 2);
  ExpectRefusal({"aggregate", "--kind", "size", source, made}, "\"size\"", 2);
  ExpectRefusal({"aggregate", "--move", "--copy", source, made}, "--move and --copy", 2);
}

// Warnings.

TEST_F(AggregateCommand, WarnsOncePerProblemOfTheSettingsAndRunsWithDefaults) {
  struct Row {
    std::string preferences;
    std::vector<std::string> named;
  };
  const std::vector<Row> rows = {
      {"TessaryType = [\n", {"preferences.toml"}},
      {"TessaryType = \"2\"\n", {"TessaryType"}},
      {"FileOperation = true\nQuitWhenDone = 1\nPreserveComments = 1.5\n",
       {"FileOperation", "QuitWhenDone", "PreserveComments"}},
  };
  for (const Row& row : rows) {
    WriteFile(PreferencesPath(), row.preferences);
    fs::remove_all(At("destination"));
    WriteFile(At("source/a.txt"));
    const ProgramResult result = Aggregate({});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
    EXPECT_TRUE(Exists(At("source/a.txt")));
    const std::vector<std::string> problems = result.Problems();
    ASSERT_THAT(problems, SizeIs(row.named.size())) << result.errors;
    for (size_t i = 0; i < problems.size(); ++i) EXPECT_THAT(problems[i], HasSubstr(row.named[i]));
    EXPECT_EQ(row.preferences, ReadFile(PreferencesPath()));
  }
}

TEST_F(AggregateCommand, WarnsOfAKindThatFilesNothing) {
  WriteFile(At("source/a.txt"));
  for (const std::string kind : {"0", "6", "-1"}) {
    WriteFile(PreferencesPath(), "TessaryType = " + kind + "\n");
    const ProgramResult result = Aggregate({});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.output, StartsWith("0 filed, 0 left, 0 failed, "));
    EXPECT_THAT(result.Problems(),
                ElementsAre(AllOf(HasSubstr("TessaryType is " + kind), HasSubstr("nothing"))));
    EXPECT_THAT(FilesBelow(At("destination")), IsEmpty());
  }
}

TEST_F(AggregateCommand, DoesNotWarnOfAValueThatAnOptionReplaces) {
  WriteFile(At("source/a.txt"));
  WriteFile(PreferencesPath(), "TessaryType = 9\nFileOperation = \"move\"\n");
  const ProgramResult result = Aggregate({"--kind=extension", "--copy"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.output, StartsWith("1 filed, "));
}

TEST_F(AggregateCommand, WarnsOfEachBadLineOfTheMappingFile) {
  WriteFile(At("source/a.odd"));
  WriteFile(MappingPath(), "# mine\n.odd \"ODD\"\nnonsense\n.bad \"TOOLONG\"\n");
  const ProgramResult result = Aggregate({"--kind=file-type"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("3"), HasSubstr("4")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("ODD /a.odd"));
}

// What goes away between being found usable and being run.

// A terminal on which something is done once, when the shell starts or after its panel is answered.
class DisturbedTerminal : public TerminalWindowSystem {
 public:
  DisturbedTerminal() { gWindowSystem = this; }
  ~DisturbedTerminal() override { gWindowSystem = nullptr; }
  DisturbedTerminal(const DisturbedTerminal&) = delete;
  DisturbedTerminal& operator=(const DisturbedTerminal&) = delete;

  void LoadApplication() override {
    if (atStart) atStart();
  }

  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override {
    std::optional<std::string> answer = TerminalWindowSystem::RunOpenPanel(panel);
    if (afterPanel) afterPanel();
    return answer;
  }

  std::function<void()> atStart;
  std::function<void()> afterPanel;
};

class DisturbedAggregateCommand : public AggregateCommand {
 protected:
  // The run is refused with that one line, and nothing is made.
  void ExpectRefusalOf(const std::string& source, const std::string& problem) {
    const CapturedLog log;
    const AggregateOptions options = {
        .settings = {}, .source = At(source), .destination = At("made")};
    EXPECT_EQ(ExitStatus::kNoRun, tessary::Aggregate(options, &terminal_));
    EXPECT_THAT(log.Lines(), ElementsAre("tessary-cli: " + problem));
    EXPECT_FALSE(Exists(At("made")));
  }

  const PreferencesFolder preferences_;
  DisturbedTerminal terminal_;
};

TEST_F(DisturbedAggregateCommand, RefusesASourceThatWentAway) {
  terminal_.atStart = [this] { fs::remove_all(At("source")); };
  ExpectRefusalOf("source", "the source or the destination is not there any more");
}

TEST_F(DisturbedAggregateCommand, RefusesASourceThatBecameAFile) {
  terminal_.atStart = [this] {
    fs::remove_all(At("source"));
    WriteFile(At("source"), "a file");
  };
  ExpectRefusalOf("source", "the source or the destination is not there any more");
  EXPECT_EQ("a file", ReadFile(At("source")));
}

TEST_F(DisturbedAggregateCommand, RefusesAnApplicationWhoseResourcesWentAway) {
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  terminal_.atStart = [this] { fs::remove_all(At("Some.app/Contents/Resources")); };
  ExpectRefusalOf("Some.app", "the source or the destination is not there any more");
}

TEST_F(DisturbedAggregateCommand, RefusesADestinationThatWentAway) {
  WriteFile(At("source/a.txt"), "kept");
  terminal_.afterPanel = [this] { fs::remove_all(At("made")); };
  ExpectRefusalOf("source", "the source or the destination is not there any more");
  EXPECT_EQ("kept", ReadFile(At("source/a.txt")));
}

// Output that nobody takes.

TEST_F(AggregateCommand, FilesEverythingWhenNobodyReadsTheSummary) {
  FillSource();
  std::array<int, 2> ends = {};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const ProgramResult result = Aggregate({"--move"}, {.outputFile = ends[1]});
  close(ends[1]);
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("6 filed, 1 left, 0 failed, ")));
  EXPECT_THAT(FilesBelow(At("destination")), SizeIs(6));
}

TEST_F(AggregateCommand, FilesEverythingWhenNobodyReadsTheLog) {
  FillSource();
  std::array<int, 2> ends = {};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const ProgramResult result = Aggregate({"--move"}, {.errorFile = ends[1]});
  close(ends[1]);
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("6 filed, 1 left, 0 failed, "));
  EXPECT_THAT(FilesBelow(At("destination")), SizeIs(6));
}

TEST_F(AggregateCommand, TellsOfASummaryThatCouldNotBeWritten) {
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({}, {.outputPath = "/dev/full"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("1 filed, 0 left, 0 failed, ")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateCommand, NeverWritesIntoAFileInPlaceOfAMissingStandardFile) {
  const std::vector<std::vector<int>> rows = {{1}, {2}, {0, 1, 2}, {1, 2}};
  for (const std::vector<int>& closed : rows) {
    fs::remove_all(At("destination"));
    for (int i = 0; i < 20; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"), "kept");
    EXPECT_EQ(0, Aggregate({"--copy"}, {.closedFiles = closed}).status);
    EXPECT_THAT(FilesBelow(At("destination")), SizeIs(20));
    for (const std::string& name : FilesBelow(At("destination"))) {
      EXPECT_EQ("kept", ReadFile(At("destination/" + name))) << name;
    }
  }
}

TEST_F(AggregateCommand, WritesNoTerminalSequencesWhereThereIsNoTerminal) {
  FillSource();
  const ProgramResult result = Aggregate({});
  EXPECT_THAT(result.errors, Not(HasSubstr("\x1b")));
  EXPECT_THAT(result.errors, Not(HasSubstr("\r")));
}

}  // namespace
}  // namespace tessary
