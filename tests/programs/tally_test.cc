#include "programs/cli/tally.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace tessary {
namespace {

TEST(Tally, CountsEachOutcomeByItself) {
  Tally tally;
  for (int i = 0; i < 3; ++i) tally.Count(ItemOutcome::kFiled);
  for (int i = 0; i < 2; ++i) tally.Count(ItemOutcome::kPassedOver);
  tally.Count(ItemOutcome::kFailed);
  EXPECT_EQ(3U, tally.filed);
  EXPECT_EQ(2U, tally.left);
  EXPECT_EQ(1U, tally.failed);
}

TEST(SummaryLine, TellsCountsAndSecondsWithOneDecimal) {
  struct Row {
    Tally tally;
    double seconds;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {{}, 0, "0 filed, 0 left, 0 failed, 0.0 secs"},
      {{.filed = 12034, .left = 41, .failed = 3}, 4.2, "12034 filed, 41 left, 3 failed, 4.2 secs"},
      {{.filed = 1}, 0.96, "1 filed, 0 left, 0 failed, 1.0 secs"},
      {{.failed = 1}, 86400.5, "0 filed, 0 left, 1 failed, 86400.5 secs"},
      {{.left = std::numeric_limits<uint64_t>::max()},
       1,
       "0 filed, 18446744073709551615 left, 0 failed, 1.0 secs"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.expected, SummaryLine(row.tally, row.seconds));
}

}  // namespace
}  // namespace tessary
