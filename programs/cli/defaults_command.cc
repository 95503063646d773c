#include "programs/cli/defaults_command.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <variant>

#include "platform/managers/log.h"
#include "programs/cli/messages.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

// What applies while a key is not set, in the order of kSettings.
constexpr std::array<std::string_view, kSettings.size()> kDefaults = {
    "files are copied",
    "files are sorted by extension",
    "the desktop program stays open after a run",
    "subfolders are not entered",
    "existing files are kept, and the incoming file gets a distinct name",
    "only the resources of an application are sorted",
    "comments are not copied",
};

struct ValueText {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const {
    return Quoted(EscapeControlCharacters(value));
  }
  std::string operator()(const UnsupportedPreferenceValue&) const { return {}; }
};

// The value as it is stored, followed by what is expected if it has the wrong type.
std::string TextOfValue(const Setting& setting, const CFPropertyList& value) {
  std::string text = std::visit(ValueText(), value);
  const bool isBoolean = setting.type == SettingType::kBoolean;
  const bool isValid =
      isBoolean ? std::holds_alternative<bool>(value) : std::holds_alternative<int64_t>(value);
  if (isValid) return text;
  if (!text.empty()) text += " ";
  return text +
         (isBoolean ? "(invalid: expected true or false)" : "(invalid: expected a whole number)");
}

// Writes pending changes and reads the file. Returns false, with a line on standard error, if that
// fails.
bool Synchronise() {
  if (CFPreferencesAppSynchronize()) return true;
  PrintProblem(
      DescribePreferencesProblem().value_or(PreferencesFilePath() + ": cannot be read or written"));
  return false;
}

ExitStatus Store(const std::string& key, const std::optional<CFPropertyList>& value) {
  CFPreferencesSetAppValue(key, value);
  return Synchronise() ? ExitStatus::kSuccess : ExitStatus::kFailure;
}

std::string TextOfAll() {
  std::string text;
  for (size_t i = 0; i < kSettings.size(); ++i) {
    const std::string key(kSettings[i].key);
    const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
    text += key;
    text += value ? " = " + TextOfValue(kSettings[i], *value)
                  : " not set (" + std::string(kDefaults[i]) + ")";
    text += "\n";
  }
  return text;
}

}  // namespace

ExitStatus ReadDefaults(const ReadDefaultsOptions& options) {
  if (!Synchronise()) return ExitStatus::kFailure;
  if (options.key.empty()) return PrintOutput(TextOfAll());
  const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(options.key);
  if (!value) {
    PrintProblem(options.key + ": not set");
    return ExitStatus::kFailure;
  }
  const auto* setting = std::ranges::find(kSettings, options.key, &Setting::key);
  return PrintOutput(TextOfValue(*setting, *value) + "\n");
}

ExitStatus WriteDefault(const WriteDefaultOptions& options) {
  return Store(options.key, options.value);
}

ExitStatus DeleteDefault(const DeleteDefaultOptions& options) {
  return Store(options.key, std::nullopt);
}

}  // namespace tessary
