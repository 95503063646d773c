#include "programs/cli/run_totals.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace tessary::test {
namespace {

std::string TextOf(const ItemCounts& counts) {
  return std::to_string(counts.filed) + " " + std::to_string(counts.skipped) + " " +
         std::to_string(counts.failed);
}

// Reports of an item named "a" in the source and of one in a year folder.
ItemReport YearStep(ItemOutcome outcome) {
  return {.path = "/s/a",
          .folderPath = "/d/2009",
          .newName = outcome == ItemOutcome::kFiled ? u"a" : u"",
          .outcome = outcome,
          .step = FilingStep::kYear};
}

ItemReport DayStep(std::string_view path, ItemOutcome outcome) {
  return {.path = path, .outcome = outcome, .step = FilingStep::kDay};
}

TEST(RunTotals, CountsEachOutcome) {
  RunTotals totals;
  for (int i = 0; i < 3; ++i) totals.Count({.path = "/s/a", .outcome = ItemOutcome::kFiled});
  for (int i = 0; i < 5; ++i) totals.Count({.path = "/s/a", .outcome = ItemOutcome::kSkipped});
  for (const ItemOutcome outcome : {ItemOutcome::kNotRead, ItemOutcome::kNoKeyFolder,
                                    ItemOutcome::kNotTransferred, ItemOutcome::kCommentNotCopied}) {
    totals.Count({.path = "/s/a", .outcome = outcome});
  }
  EXPECT_EQ("3 5 4", TextOf(totals.OfSource()));
  EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
}

TEST(RunTotals, CountsUnlistedFolderOnce) {
  RunTotals totals;
  for (int i = 0; i < 2; ++i) {
    totals.Count({.path = "/s/closed", .outcome = ItemOutcome::kFolderNotListed});
  }
  EXPECT_EQ("0 0 1", TextOf(totals.OfSource()));
}

TEST(RunTotals, CountsUnreadableFolderOnce) {
  RunTotals totals;
  for (const FilingStep step : {FilingStep::kOnly, FilingStep::kYear}) {
    totals.Count({.path = "/s/dead", .outcome = ItemOutcome::kFolderNotListed});
    totals.Count({.path = "/s/dead", .outcome = ItemOutcome::kNotRead, .step = step});
  }
  totals.Count({.path = "/s/file", .outcome = ItemOutcome::kNotRead});
  EXPECT_EQ("0 0 2", TextOf(totals.OfSource()));
}

TEST(RunTotals, CountsBothStepsOnce) {
  RunTotals totals;
  totals.Count(YearStep(ItemOutcome::kFiled));
  totals.Count(DayStep("/d/2009/a", ItemOutcome::kFiled));
  EXPECT_EQ("1 0 0", TextOf(totals.OfSource()));
  EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
}

TEST(RunTotals, CountsOutcomeOfDayStep) {
  const struct {
    ItemOutcome outcome;
    std::string expected;
  } rows[] = {{ItemOutcome::kSkipped, "0 1 0"}, {ItemOutcome::kNotTransferred, "0 0 1"}};
  for (const auto& row : rows) {
    RunTotals totals;
    totals.Count(YearStep(ItemOutcome::kFiled));
    // A run reports the item for each source folder that it visits.
    for (int i = 0; i < 3; ++i) totals.Count(DayStep("/d/2009/a", row.outcome));
    EXPECT_EQ(row.expected, TextOf(totals.OfSource()));
    EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
    totals.Count(DayStep("/d/2009/a", ItemOutcome::kFiled));
    EXPECT_EQ("1 0 0", TextOf(totals.OfSource()));
    EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
  }
}

TEST(RunTotals, CountsItemWithoutItsCommentOnce) {
  for (const ItemOutcome outcome : {ItemOutcome::kFiled, ItemOutcome::kNotTransferred}) {
    RunTotals totals;
    ItemReport report = YearStep(ItemOutcome::kFiled);
    report.outcome = ItemOutcome::kCommentNotCopied;
    totals.Count(report);
    totals.Count(DayStep("/d/2009/a", outcome));
    EXPECT_EQ("0 0 1", TextOf(totals.OfSource()));
    EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
  }
}

TEST(RunTotals, CountsItemInItsYearFolder) {
  RunTotals totals;
  totals.Count({.path = "/d/2009/a",
                .folderPath = "/d/2009",
                .outcome = ItemOutcome::kSkipped,
                .step = FilingStep::kYear});
  totals.Count(DayStep("/d/2009/a", ItemOutcome::kFiled));
  EXPECT_EQ("1 0 0", TextOf(totals.OfSource()));
  EXPECT_EQ("0 0 0", TextOf(totals.OfDestination()));
}

TEST(RunTotals, SeparatesItemsOfDestination) {
  RunTotals totals;
  totals.Count(YearStep(ItemOutcome::kFiled));
  totals.Count(DayStep("/d/2009/a", ItemOutcome::kFiled));
  totals.Count(DayStep("/d/2009/old", ItemOutcome::kFiled));
  for (int i = 0; i < 3; ++i) {
    totals.Count(DayStep("/d/2009/stuck", ItemOutcome::kNoKeyFolder));
    totals.Count(DayStep("/d/2009/dangling", ItemOutcome::kSkipped));
  }
  EXPECT_EQ("1 0 0", TextOf(totals.OfSource()));
  EXPECT_EQ("1 1 1", TextOf(totals.OfDestination()));
}

TEST(SummaryLine, PrintsCountsAndSeconds) {
  struct Row {
    ItemCounts counts;
    double seconds;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {{}, 0, "0 filed, 0 skipped, 0 failed in 0.0 s"},
      {{12034, 41, 3}, 4.2, "12034 filed, 41 skipped, 3 failed in 4.2 s"},
      {{1, 0, 0}, 0.96, "1 filed, 0 skipped, 0 failed in 1.0 s"},
      {{0, 0, 1}, 86400.5, "0 filed, 0 skipped, 1 failed in 86400.5 s"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.expected, SummaryLine(row.counts, row.seconds));
}

TEST(SummaryLine, SaysWhatWouldBe) {
  EXPECT_EQ("12034 would be filed, 41 skipped, 3 would fail in 0.4 s",
            SummaryLine({12034, 41, 3}, 0.4, /*isDryRun=*/true));
}

TEST(KeptCopiesText, IsEmptyWithoutAny) {
  EXPECT_EQ("", KeptCopiesText(0));
  EXPECT_EQ(
      "; 2 of the filed items may exist twice, because another program moved or deleted the "
      "originals",
      KeptCopiesText(2));
}

}  // namespace
}  // namespace tessary::test
