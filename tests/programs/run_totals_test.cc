#include "programs/cli/run_totals.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

// Totals with that many items of each outcome.
RunTotals Counted(int filed, int skipped, int failed) {
  RunTotals totals;
  for (int i = 0; i < filed; ++i) totals.Count("/filed", ItemOutcome::kFiled);
  for (int i = 0; i < skipped; ++i) totals.Count("/skipped", ItemOutcome::kSkipped);
  for (int i = 0; i < failed; ++i) totals.Count("/failed", ItemOutcome::kFailed);
  return totals;
}

TEST(RunTotals, CountsEachOutcome) {
  const RunTotals totals = Counted(3, 2, 1);
  EXPECT_EQ(3U, totals.filed());
  EXPECT_EQ(2U, totals.skipped());
  EXPECT_EQ(1U, totals.failed());
}

TEST(RunTotals, CountsItemInYearFolderOnce) {
  RunTotals totals;
  for (int i = 0; i < 3; ++i) {
    totals.Count("/d/2009/dangling", ItemOutcome::kSkippedInYearFolder);
    totals.Count("/d/2009/other", ItemOutcome::kSkippedInYearFolder);
    totals.Count("/d/2009/stuck", ItemOutcome::kFailedInYearFolder);
    totals.Count("/d/closed", ItemOutcome::kFolderNotListed);
  }
  EXPECT_EQ(0U, totals.filed());
  EXPECT_EQ(2U, totals.skipped());
  EXPECT_EQ(2U, totals.failed());
}

TEST(RunTotals, CountsUnloggedAsFailed) {
  RunTotals totals;
  for (int i = 0; i < 2; ++i) {
    totals.Count("", ItemOutcome::kFailedUnlogged);
    totals.Count("/d/2009/stuck", ItemOutcome::kFailedUnloggedInYearFolder);
  }
  EXPECT_EQ(3U, totals.failed());
  EXPECT_EQ(0U, totals.skipped());
}

TEST(RunTotals, KeepsLastOutcomeInYearFolder) {
  RunTotals totals;
  totals.Count("/d/2009/a", ItemOutcome::kFailedInYearFolder);
  totals.Count("/d/2009/b", ItemOutcome::kFailedInYearFolder);
  totals.Count("/d/2009/a", ItemOutcome::kFiled);
  totals.Count("/d/2009/b", ItemOutcome::kSkippedInYearFolder);
  EXPECT_EQ(1U, totals.filed());
  EXPECT_EQ(1U, totals.skipped());
  EXPECT_EQ(0U, totals.failed());
}

TEST(SummaryLine, PrintsCountsAndSeconds) {
  struct Row {
    RunTotals totals;
    double seconds;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {RunTotals(), 0, "0 filed, 0 skipped, 0 failed in 0.0 s"},
      {Counted(12034, 41, 3), 4.2, "12034 filed, 41 skipped, 3 failed in 4.2 s"},
      {Counted(1, 0, 0), 0.96, "1 filed, 0 skipped, 0 failed in 1.0 s"},
      {Counted(0, 0, 1), 86400.5, "0 filed, 0 skipped, 1 failed in 86400.5 s"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.expected, SummaryLine(row.totals, row.seconds));
}

}  // namespace
}  // namespace tessary::test
