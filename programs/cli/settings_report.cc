#include "programs/cli/settings_report.h"

#include <variant>

namespace tessary {
bool HasType(const CFPropertyList& value, SettingType type) {
  return type == SettingType::kBoolean ? std::holds_alternative<bool>(value)
                                       : std::holds_alternative<int64_t>(value);
}

std::vector<std::string> DescribeSettingProblems() {
  std::vector<std::string> problems;
  if (!CFPreferencesAppSynchronize()) {
    problems.push_back(
        DescribePreferencesProblem().value_or(PreferencesFilePath() + ": cannot be read"));
  }
  for (const Setting& setting : kSettings) {
    const std::string key(setting.key);
    const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
    if (!value || HasType(*value, setting.type)) continue;
    const bool isBoolean = setting.type == SettingType::kBoolean;
    problems.push_back(PreferencesFilePath() + ": " + key +
                       (isBoolean ? " is neither true nor false" : " is not a whole number") +
                       "; using its default");
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
