#include "programs/cli/settings_report.h"

#include <optional>
#include <variant>

#include "platform/managers/preferences_store.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

bool HasType(const CFPropertyList& value, SettingType type) {
  return type == SettingType::kBoolean ? std::holds_alternative<bool>(value)
                                       : std::holds_alternative<int64_t>(value);
}

std::string DescribeMistypedValue(const std::string& key, SettingType type) {
  std::string problem = key + " in " + PreferencesFilePath();
  problem += type == SettingType::kBoolean ? " is neither true nor false" : " is no whole number";
  problem += ": its default is used; correct it, or delete it with tessary-cli defaults delete ";
  return problem + key;
}

void DescribeMistypedValues(std::vector<std::string>* problems) {
  for (const Setting& setting : kSettings) {
    const std::string key(setting.key);
    const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
    if (!value || HasType(*value, setting.type)) continue;
    problems->push_back(DescribeMistypedValue(key, setting.type));
  }
}

}  // namespace

std::vector<std::string> DescribeSettingProblems() {
  std::vector<std::string> problems;
  if (!CFPreferencesAppSynchronize()) {
    problems.push_back(
        DescribePreferencesProblem().value_or(PreferencesFilePath() + " could not be read"));
  }
  DescribeMistypedValues(&problems);
  const AggregationKind kind = GetAggregationKind();
  if (kind < AggregationKind::kExtension || kind > AggregationKind::kCreationDate) {
    problems.push_back("TessaryType is " + std::to_string(static_cast<int>(kind)) +
                       ", which names no kind: nothing will be filed; give --kind, or store a "
                       "number from 1 to 5");
  }
  return problems;
}

}  // namespace tessary
