#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// What a run says, and what becomes of it where nobody listens.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

using AggregateMessages = AggregateTest;

// Warnings.

TEST_F(AggregateMessages, WarnsOncePerProblemOfTheSettingsAndRunsWithDefaults) {
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

TEST_F(AggregateMessages, WarnsOfAKindThatFilesNothing) {
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

TEST_F(AggregateMessages, DoesNotWarnOfAValueThatAnOptionReplaces) {
  WriteFile(At("source/a.txt"));
  WriteFile(PreferencesPath(), "TessaryType = 9\nFileOperation = \"move\"\n");
  const ProgramResult result = Aggregate({"--kind=extension", "--copy"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), IsEmpty());
  EXPECT_THAT(result.output, StartsWith("1 filed, "));
}

TEST_F(AggregateMessages, WarnsOfEachBadLineOfTheMappingFile) {
  WriteFile(At("source/a.odd"));
  WriteFile(MappingPath(), "# mine\n.odd \"ODD\"\nnonsense\n.bad \"TOOLONG\"\n");
  const ProgramResult result = Aggregate({"--kind=file-type"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("3"), HasSubstr("4")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("ODD /a.odd"));
}

// Output that nobody takes.

TEST_F(AggregateMessages, FilesEverythingWhenNobodyReadsTheSummary) {
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

TEST_F(AggregateMessages, FilesEverythingWhenNobodyReadsTheLog) {
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

TEST_F(AggregateMessages, TellsOfASummaryThatCouldNotBeWritten) {
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({}, {.outputPath = "/dev/full"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("1 filed, 0 left, 0 failed, ")));
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(AggregateMessages, NeverWritesIntoAFileInPlaceOfAMissingStandardFile) {
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

TEST_F(AggregateMessages, WritesNoTerminalSequencesWhereThereIsNoTerminal) {
  FillSource();
  const ProgramResult result = Aggregate({});
  EXPECT_THAT(result.errors, Not(HasSubstr("\x1b")));
  EXPECT_THAT(result.errors, Not(HasSubstr("\r")));
}

}  // namespace
}  // namespace tessary::test
