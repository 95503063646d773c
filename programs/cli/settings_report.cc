#include "programs/cli/settings_report.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>

#include "programs/cli/option_parser.h"

namespace tessary {
namespace {

constexpr std::string_view kKindKey = "TessaryType";

// The numbers that mean something, from 1.
int64_t LargestNumber(const Setting& setting) {
  return setting.key == kKindKey ? static_cast<int64_t>(AggregationKind::kCreationDate)
                                 : int64_t{kFileOperationCopy};
}

bool HasType(const CFPropertyList& value, SettingType type) {
  return type == SettingType::kBoolean ? std::holds_alternative<bool>(value)
                                       : std::holds_alternative<int64_t>(value);
}

std::string DescribeUnknownKey(const std::string& key) {
  std::array<std::string_view, kSettings.size()> keys;
  std::ranges::transform(kSettings, keys.begin(), &Setting::key);
  return key + ": unknown setting" + Suggestion(key, keys);
}

// Returns what the accessor does with an invalid value.
std::string ConsequenceOf(const Setting& setting, const CFPropertyList& value) {
  if (!HasType(value, setting.type)) return "using its default";
  return GetFileOperation() == kFileOperationCopy ? "files are copied" : "files are moved";
}

}  // namespace

std::optional<std::string> ExpectedInstead(const Setting& setting, const CFPropertyList& value) {
  const bool isNumber = setting.type == SettingType::kNumber;
  if (!HasType(value, setting.type)) return isNumber ? "a whole number" : "true or false";
  if (!isNumber) return std::nullopt;
  const int64_t number = std::get<int64_t>(value);
  if (number >= 1 && number <= LargestNumber(setting)) return std::nullopt;
  return setting.key == kKindKey ? "a number from 1 to 5" : "1 or 2";
}

std::vector<std::string> DescribeSettingProblems() {
  std::vector<std::string> problems;
  if (!CFPreferencesAppSynchronize()) {
    problems.push_back(
        DescribePreferencesProblem().value_or(PreferencesFilePath() + ": cannot be read"));
  }
  for (const std::string& key : CopyPreferenceKeys()) {
    if (std::ranges::find(kSettings, key, &Setting::key) != kSettings.end()) continue;
    problems.push_back(PreferencesFilePath() + ": " + DescribeUnknownKey(key));
  }
  for (const Setting& setting : kSettings) {
    const std::string key(setting.key);
    const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
    const std::optional<std::string> expected =
        value ? ExpectedInstead(setting, *value) : std::nullopt;
    // A run reports an invalid kind as an error.
    if (!expected || (key == kKindKey && HasType(*value, setting.type))) continue;
    problems.push_back(PreferencesFilePath() + ": " + key + ": expected " + *expected + "; " +
                       ConsequenceOf(setting, *value));
  }
  return problems;
}

std::optional<std::string> DescribeInvalidKind() {
  const AggregationKind kind = GetAggregationKind();
  if (kind >= AggregationKind::kExtension && kind <= AggregationKind::kCreationDate) {
    return std::nullopt;
  }
  return "TessaryType = " + std::to_string(static_cast<int>(kind)) +
         " is not a valid kind (1–5); nothing to do";
}

}  // namespace tessary
