#include "programs/cli/aggregate_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// Runs of the command as a user or a script starts it.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

using AggregateCommand = AggregateTest;

// The kinds.

TEST_F(AggregateCommand, CopiesByExtensionByDefault) {
  FillSource();
  const std::vector<std::string> before = DescribeTree(At("source"));
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, MatchesRegex("6 filed, 1 skipped, 0 failed in [0-9]+\\.[0-9] s\n"));
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
  EXPECT_THAT(result.output, StartsWith("6 filed, 1 skipped, 0 failed in "));
  EXPECT_THAT(NamesIn(At("source")), UnorderedElementsAre(".hidden.txt", "none"));
  EXPECT_EQ("newline", ReadFile(At("destination/txt/new\nline.txt")));
}

TEST_F(AggregateCommand, SortsByFileType) {
  WriteFile(At("source/mapped.odd"));
  WriteFile(At("source/unmapped.unheard"));
  WriteFile(MappingPath(), ".odd \"ODD\"\n");
  WriteFile(At("source/typed"));
  if (!SetFinderInfo(At("source/typed"), "ABCD", 0)) GTEST_SKIP() << "no attributes here";
  const ProgramResult result = Aggregate({"--kind=file-type"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("2 filed, 1 skipped, 0 failed in "));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("ABCD/typed", "ODD /mapped.odd"));
}

TEST_F(AggregateCommand, SortsByMimeType) {
  WriteFile(At("source/photo.jpg"));
  WriteFile(At("source/strange.unheard"));
  const ProgramResult result = Aggregate({"--kind=mime-type"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("2 filed, 0 skipped, 0 failed in "));
  EXPECT_THAT(FilesBelow(At("destination")),
              ElementsAre("application:unheard/strange.unheard", "image:jpeg/photo.jpg"));
}

TEST_F(AggregateCommand, SortsByModificationDate) {
  FillSource();
  fs::remove(At("source/dangling.txt"));
  const ProgramResult result = Aggregate({"--kind=modification-date"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("6 filed, 0 skipped, 0 failed in "));
  EXPECT_THAT(FilesBelow(At("destination")),
              UnorderedElementsAre("2009/Mar 04, 2009/a.txt", "2009/Mar 04, 2009/caf\xe9.txt",
                                   "2009/Mar 04, 2009/new\nline.txt", "2009/Mar 04, 2009/two..txt",
                                   "2009/Mar 04, 2009/hard.txt", "2009/Mar 04, 2009/none"));
}

TEST_F(AggregateCommand, SortsByCreationDate) {
  WriteFile(At("source/a.txt"));
  if (!SetAttribute(At("source/a.txt"), "user.tessary.creation-date",
                    "2008-02-03T04:05:06.000000000Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  const ProgramResult result = Aggregate({"--kind=creation-date"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 skipped, 0 failed in "));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("2008/Feb 03, 2008/a.txt"));
}

TEST_F(AggregateCommand, NamesMonthsInUserLanguage) {
  const std::string command =
      "localedef --no-archive -i de_DE -f UTF-8 '" + At("de_DE.UTF-8") + "' >/dev/null 2>&1";
  // It fails for mere warnings too.
  const int ignored = std::system(command.c_str());
  (void)ignored;
  if (!Exists(At("de_DE.UTF-8/LC_TIME"))) GTEST_SKIP() << "no sources of locales are installed";
  WriteFile(At("source/a.txt"));
  SetModificationDate(At("source/a.txt"), kMarch2009);
  // The C library leaks the text of LOCPATH, which a sanitizer would report.
  const ProgramSetup german = {.environment = {{"LOCPATH", At("")},
                                               {"LC_ALL", "de_DE.UTF-8"},
                                               {"ASAN_OPTIONS", "detect_leaks=0"}}};
  EXPECT_EQ(0, Aggregate({"--kind=modification-date"}, german).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("2009/Mär 04, 2009/a.txt"));
}

// Options over settings.

TEST_F(AggregateCommand, OptionsOverrideStoredSettings) {
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

TEST_F(AggregateCommand, CreatesNoPreferencesFile) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Aggregate({"--move", "--replace", "--kind=mime-type"}).status);
  EXPECT_THAT(NamesIn(At("config")), IsEmpty());
}

TEST_F(AggregateCommand, KeepsBothFilesByDefault) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  EXPECT_EQ(0, Aggregate({}).status);
  EXPECT_THAT(
      NamesIn(At("destination/txt")),
      ElementsAre(MatchesRegex("a - [0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.txt"), "a.txt"));
  EXPECT_EQ("old", ReadFile(At("destination/txt/a.txt")));
}

TEST_F(AggregateCommand, ReplacesOnRequest) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  EXPECT_EQ(0, Aggregate({"--replace"}).status);
  EXPECT_THAT(NamesIn(At("destination/txt")), ElementsAre("a.txt"));
  EXPECT_EQ("new", ReadFile(At("destination/txt/a.txt")));
}

TEST_F(AggregateCommand, SortsApplicationResourcesByDefault) {
  WriteFile(At("Some.app/Contents/Info.plist"));
  WriteFile(At("Some.app/Contents/Resources/icon.png"));
  EXPECT_EQ(0, Run({"aggregate", "--recurse", At("Some.app"), At("resources")}).status);
  EXPECT_THAT(FilesBelow(At("resources")), ElementsAre("png/icon.png"));
  EXPECT_EQ(
      0,
      Run({"aggregate", "--recurse", "--whole-application", At("Some.app"), At("whole")}).status);
  EXPECT_THAT(FilesBelow(At("whole")), ElementsAre("plist/Info.plist", "png/icon.png"));
}

// Exit statuses.

TEST_F(AggregateCommand, ExitsWithThreeIfSomeItemsFail) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("source/b.md"));
  WriteFile(At("destination/txt"), "existing");
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 skipped, 1 failed in "));
  EXPECT_TRUE(Exists(At("source/a.txt")));
  EXPECT_EQ("existing", ReadFile(At("destination/txt")));
  EXPECT_THAT(result.LogMessages(), Contains(HasSubstr("could not be moved to")));
}

TEST_F(AggregateCommand, ExitsWithThreeIfDestinationIsReadOnly) {
  OpenToOrdinaryUser();
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0555));
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Aggregate({}, {.isOrdinaryUser = true});
  EXPECT_EQ(3, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("0 filed, 0 skipped, 1 failed in "));
  EXPECT_EQ(before, DescribeTree(At("")));
}

TEST_F(AggregateCommand, IgnoresQuitWhenDone) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Aggregate({}).status);
  WriteFile(At("source/b.md"));
  WriteFile(At("destination/md"), "existing");
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, StartsWith("1 filed, 0 skipped, 1 failed in "));
  EXPECT_THAT(result.errors, Not(HasSubstr("Bye.")));
  EXPECT_EQ("QuitWhenDone = true\n", ReadFile(PreferencesPath()));
}

TEST_F(AggregateCommand, PrintsLogAndSummaryOnly) {
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({"--move"});
  EXPECT_THAT(result.LogMessages(),
              ElementsAre("Aggregating folder source", "Moved \"a.txt\" to \"txt\""));
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.output, MatchesRegex("1 filed, 0 skipped, 0 failed in [0-9]+\\.[0-9] s\n"));
}

TEST_F(AggregateCommand, AcceptsEmptySource) {
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("0 filed, 0 skipped, 0 failed in "));
}

TEST_F(AggregateCommand, SkipsItemsInTheRightFolder) {
  WriteFile(At("destination/txt/a.txt"), "in place");
  const ProgramResult result =
      Run({"aggregate", "--recurse", "--move", At("destination/txt"), At("destination")});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, StartsWith("0 filed, 1 skipped, 0 failed in "));
  EXPECT_EQ("in place", ReadFile(At("destination/txt/a.txt")));
}

// Sources and destinations.

TEST_F(AggregateCommand, FollowsLinkToSource) {
  WriteFile(At("source/a.txt"));
  MakeLink("source", At("link"));
  EXPECT_EQ(0, Run({"aggregate", "--move", At("link"), At("destination")}).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
  EXPECT_TRUE(Exists(At("link")));
}

TEST_F(AggregateCommand, FollowsLinkToDestination) {
  WriteFile(At("source/a.txt"));
  MakeLink("destination", At("link"));
  EXPECT_EQ(0, Run({"aggregate", At("source"), At("link")}).status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateCommand, AcceptsRelativePaths) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Run({"aggregate", ".", "../made"}, {.folder = At("source")}).status);
  EXPECT_THAT(FilesBelow(At("made")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateCommand, AcceptsDestinationInsideSource) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, Run({"aggregate", "--move", ".", "made"}, {.folder = At("source")}).status);
  EXPECT_THAT(FilesBelow(At("source")), ElementsAre("made/txt/a.txt"));
}

TEST_F(AggregateCommand, CreatesDestinationUnderTypedName) {
  WriteFile(At("source/a.txt"));
  for (const std::string name :
       {"plain", "a:b", "caf\xe9", "new\nline", "-dash", ".dotted", "slashes//"}) {
    EXPECT_EQ(0, Run({"aggregate", "--", "source", name}, {.folder = At("")}).status) << name;
    EXPECT_TRUE(Exists(At(name + "/txt/a.txt"))) << name;
  }
}

}  // namespace
}  // namespace tessary::test
