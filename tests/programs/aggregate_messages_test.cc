#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// The messages of a run, and runs whose output nobody reads.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

using AggregateMessages = AggregateTest;

// Warnings.

TEST_F(AggregateMessages, WarnsOncePerInvalidSetting) {
  struct Row {
    std::string preferences;
    std::vector<std::string> named;
  };
  const std::vector<Row> rows = {
      {"TessaryType = [\n", {"preferences.toml"}},
      {"TessaryType = \"2\"\n",
       {PreferencesPath() + ": TessaryType: expected a whole number; using its default"}},
      {"FileOperation = true\nQuitWhenDone = 1\nPreserveComments = 1.5\n",
       {": FileOperation: expected a whole number; using its default",
        ": QuitWhenDone: expected true or false; using its default",
        ": PreserveComments: expected true or false; using its default"}},
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

TEST_F(AggregateMessages, RefusesInvalidKind) {
  WriteFile(At("source/a.txt"));
  for (const std::string kind : {"0", "6", "-1"}) {
    WriteFile(PreferencesPath(), "TessaryType = " + kind + "\n");
    ExpectError({"aggregate", At("source"), At("made")},
                "TessaryType = " + kind + " is not a valid kind (1–5); nothing to do");
  }
}

TEST_F(AggregateMessages, DoesNotWarnOfOverriddenSettings) {
  WriteFile(At("source/a.txt"));
  WriteFile(PreferencesPath(), "TessaryType = 9\nFileOperation = \"move\"\n");
  const ProgramResult result = Aggregate({"--kind=extension", "--copy"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.output, StartsWith("1 filed, "));
}

TEST_F(AggregateMessages, WarnsOfMalformedMappingLines) {
  WriteFile(At("source/a.odd"));
  WriteFile(MappingPath(), "# mine\n.odd \"ODD\"\nnonsense\n.bad \"TOOLONG\"\n");
  const ProgramResult result = Aggregate({"--kind=file-type"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("3"), HasSubstr("4")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("ODD /a.odd"));
}

// Output that nobody reads.

TEST_F(AggregateMessages, FilesEverythingWithoutSummaryReader) {
  FillSource();
  std::array<int, 2> ends = {};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const ProgramResult result = Aggregate({"--move"}, {.outputFile = ends[1]});
  close(ends[1]);
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(StartsWith("standard output: write error; the "
                                                        "summary is: 6 filed, 1 skipped, ")));
  EXPECT_THAT(FilesBelow(At("destination")), SizeIs(6));
}

TEST_F(AggregateMessages, FilesEverythingWithoutLogReader) {
  FillSource();
  std::array<int, 2> ends = {};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const ProgramResult result = Aggregate({"--move"}, {.errorFile = ends[1]});
  close(ends[1]);
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("6 filed, 1 skipped, 0 failed in "));
  EXPECT_THAT(FilesBelow(At("destination")), SizeIs(6));
}

TEST_F(AggregateMessages, PrintsSummaryAsErrorIfOutputIsFull) {
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({}, {.outputPath = "/dev/full"});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(StartsWith("standard output: write error; the "
                                                        "summary is: 1 filed, 0 skipped, ")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateMessages, NeverWritesOutputIntoOpenedFiles) {
  const std::vector<std::vector<int>> rows = {{1}, {2}, {0, 1, 2}, {1, 2}};
  for (const std::vector<int>& closed : rows) {
    fs::remove_all(At("destination"));
    for (int i = 0; i < 20; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"), "kept");
    const bool isOutputClosed = std::ranges::count(closed, STDOUT_FILENO) != 0;
    EXPECT_EQ(isOutputClosed ? 1 : 0, Aggregate({"--copy"}, {.closedFiles = closed}).status);
    EXPECT_THAT(FilesBelow(At("destination")), SizeIs(20));
    for (const std::string& name : FilesBelow(At("destination"))) {
      EXPECT_EQ("kept", ReadFile(At("destination/" + name))) << name;
    }
  }
}

TEST_F(AggregateMessages, QuietLogsFailuresOnly) {
  FillSource();
  WriteFile(At("source/a.pdf"));
  WriteFile(At("destination/pdf"));
  for (const std::string kind : {"extension", "file-type"}) {
    const ProgramResult result = Aggregate({"--quiet", "--kind=" + kind});
    EXPECT_EQ(kind == "extension" ? 3 : 0, result.status);
    for (const std::string& message : result.LogMessages()) {
      EXPECT_THAT(message, Not(StartsWith("Mov")));
      EXPECT_THAT(message, Not(StartsWith("Aggregating")));
    }
    EXPECT_THAT(result.LogMessages(), SizeIs(kind == "extension" ? 2 : 0));
  }
}

TEST_F(AggregateMessages, CountsItemsOfDestinationSeparately) {
  for (const std::string path : {"source/a", "destination/2009/b", "destination/Photos/c"}) {
    WriteFile(At(path));
    SetModificationDate(At(path), kMarch2009);
  }
  const ProgramResult result = Aggregate({"--kind=modification-date"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output,
              testing::MatchesRegex("1 filed, 0 skipped, 0 failed in [0-9.]+ s\n"
                                    "2 items that were already in the destination were moved into "
                                    "day folders\n"));
}

TEST_F(AggregateMessages, WritesNoEscapeSequencesWithoutTerminal) {
  FillSource();
  const ProgramResult result = Aggregate({});
  EXPECT_THAT(result.errors, Not(HasSubstr("\x1b")));
  EXPECT_THAT(result.errors, Not(HasSubstr("\r")));
}

}  // namespace
}  // namespace tessary::test
