#include "programs/cli/run_totals.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace tessary {
namespace {

// The number with one decimal, after a point in any locale.
std::string DecimalText(double number) {
  std::array<char, 400> digits = {};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                          std::chars_format::fixed, 1);
  return {digits.data(), end};
}

uint64_t CountWithFailure(const std::unordered_map<std::string, bool>& items, bool hasFailed) {
  const auto isCounted = [hasFailed](const auto& item) { return item.second == hasFailed; };
  return static_cast<uint64_t>(std::count_if(items.begin(), items.end(), isCounted));
}

}  // namespace

void RunTotals::Count(const std::string& path, ItemOutcome outcome) {
  switch (outcome) {
    case ItemOutcome::kFiled:
      ++filed_;
      failedByPath_.erase(path);
      return;
    case ItemOutcome::kSkipped:
      ++skipped_;
      return;
    case ItemOutcome::kFailed:
    case ItemOutcome::kFailedUnlogged:
      ++failed_;
      return;
    case ItemOutcome::kFolderNotListed:
    case ItemOutcome::kFailedInYearFolder:
    case ItemOutcome::kFailedUnloggedInYearFolder:
      failedByPath_[path] = true;
      return;
    case ItemOutcome::kSkippedInYearFolder:
      failedByPath_[path] = false;
      return;
  }
}

uint64_t RunTotals::skipped() const { return skipped_ + CountWithFailure(failedByPath_, false); }

uint64_t RunTotals::failed() const { return failed_ + CountWithFailure(failedByPath_, true); }

std::string SummaryLine(const RunTotals& totals, double seconds) {
  return std::to_string(totals.filed()) + " filed, " + std::to_string(totals.skipped()) +
         " skipped, " + std::to_string(totals.failed()) + " failed in " + DecimalText(seconds) +
         " s";
}

}  // namespace tessary
