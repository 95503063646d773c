#include "programs/cli/tally.h"

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

}  // namespace

void Tally::Count(ItemOutcome outcome) {
  switch (outcome) {
    case ItemOutcome::kFiled:
      ++filed;
      return;
    case ItemOutcome::kPassedOver:
      ++left;
      return;
    case ItemOutcome::kFailed:
      ++failed;
      return;
  }
}

std::string SummaryLine(const Tally& tally, double seconds) {
  return std::to_string(tally.filed) + " filed, " + std::to_string(tally.left) + " left, " +
         std::to_string(tally.failed) + " failed, " + DecimalText(seconds) + " secs";
}

}  // namespace tessary
