#include "programs/cli/tally.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace tessary {
namespace {

// One decimal, with a point whatever the locale.
std::string DecimalText(double number) {
  std::array<char, 400> digits = {};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                          std::chars_format::fixed, 1);
  return {digits.data(), end};
}

uint64_t CountWithFailure(const std::unordered_map<std::string, bool>& items, bool hasFailed) {
  const auto count = std::count_if(items.begin(), items.end(), [hasFailed](const auto& item) {
    return item.second == hasFailed;
  });
  return static_cast<uint64_t>(count);
}

}  // namespace

void Tally::Count(const std::string& path, ItemOutcome outcome) {
  switch (outcome) {
    case ItemOutcome::kFiled:
      ++filed_;
      retold_.erase(path);
      return;
    case ItemOutcome::kPassedOver:
      ++left_;
      return;
    case ItemOutcome::kFailed:
    case ItemOutcome::kUntold:
      ++failed_;
      return;
    case ItemOutcome::kFolderNotListed:
    case ItemOutcome::kFailedInYear:
    case ItemOutcome::kUntoldInYear:
      retold_[path] = true;
      return;
    case ItemOutcome::kPassedOverInYear:
      retold_[path] = false;
      return;
  }
}

uint64_t Tally::left() const { return left_ + CountWithFailure(retold_, false); }

uint64_t Tally::failed() const { return failed_ + CountWithFailure(retold_, true); }

std::string SummaryLine(const Tally& tally, double seconds) {
  return std::to_string(tally.filed()) + " filed, " + std::to_string(tally.left()) + " left, " +
         std::to_string(tally.failed()) + " failed, " + DecimalText(seconds) + " secs";
}

}  // namespace tessary
