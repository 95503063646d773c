#include "programs/cli/run_totals.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

// A tally of that many items of each fate.
RunTotals Counted(int filed, int left, int failed) {
  RunTotals tally;
  for (int i = 0; i < filed; ++i) tally.Count("/filed", ItemOutcome::kFiled);
  for (int i = 0; i < left; ++i) tally.Count("/left", ItemOutcome::kSkipped);
  for (int i = 0; i < failed; ++i) tally.Count("/failed", ItemOutcome::kFailed);
  return tally;
}

TEST(RunTotals, CountsEachOutcomeByItself) {
  const RunTotals tally = Counted(3, 2, 1);
  EXPECT_EQ(3U, tally.filed());
  EXPECT_EQ(2U, tally.left());
  EXPECT_EQ(1U, tally.failed());
}

TEST(RunTotals, CountsAnItemThatStaysInAYearFolderOnceHoweverOftenItIsToldOf) {
  RunTotals tally;
  for (int i = 0; i < 3; ++i) {
    tally.Count("/d/2009/dangling", ItemOutcome::kSkippedInYearFolder);
    tally.Count("/d/2009/other", ItemOutcome::kSkippedInYearFolder);
    tally.Count("/d/2009/stuck", ItemOutcome::kFailedInYearFolder);
    tally.Count("/d/closed", ItemOutcome::kFolderNotListed);
  }
  EXPECT_EQ(0U, tally.filed());
  EXPECT_EQ(2U, tally.left());
  EXPECT_EQ(2U, tally.failed());
}

TEST(RunTotals, CountsWhatTheLogDoesNotNameAmongTheFailed) {
  RunTotals tally;
  for (int i = 0; i < 2; ++i) {
    tally.Count("", ItemOutcome::kFailedUnlogged);
    tally.Count("/d/2009/stuck", ItemOutcome::kFailedUnloggedInYearFolder);
  }
  EXPECT_EQ(3U, tally.failed());
  EXPECT_EQ(0U, tally.left());
}

TEST(RunTotals, TakesTheLastWordOfAnItemThatStaysInAYearFolder) {
  RunTotals tally;
  tally.Count("/d/2009/a", ItemOutcome::kFailedInYearFolder);
  tally.Count("/d/2009/b", ItemOutcome::kFailedInYearFolder);
  tally.Count("/d/2009/a", ItemOutcome::kFiled);
  tally.Count("/d/2009/b", ItemOutcome::kSkippedInYearFolder);
  EXPECT_EQ(1U, tally.filed());
  EXPECT_EQ(1U, tally.left());
  EXPECT_EQ(0U, tally.failed());
}

TEST(SummaryLine, TellsCountsAndSecondsWithOneDecimal) {
  struct Row {
    RunTotals tally;
    double seconds;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {RunTotals(), 0, "0 filed, 0 left, 0 failed, 0.0 secs"},
      {Counted(12034, 41, 3), 4.2, "12034 filed, 41 left, 3 failed, 4.2 secs"},
      {Counted(1, 0, 0), 0.96, "1 filed, 0 left, 0 failed, 1.0 secs"},
      {Counted(0, 0, 1), 86400.5, "0 filed, 0 left, 1 failed, 86400.5 secs"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.expected, SummaryLine(row.tally, row.seconds));
}

}  // namespace
}  // namespace tessary::test
