#include "programs/cli/defaults_command.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <variant>

#include "platform/managers/log.h"
#include "programs/cli/messages.h"
#include "programs/cli/settings_report.h"

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

// The value as it is stored, followed by what is expected if it is invalid.
std::string TextOfValue(const Setting& setting, const CFPropertyList& value) {
  std::string text;
  if (const auto* flag = std::get_if<bool>(&value)) text = *flag ? "true" : "false";
  if (const auto* number = std::get_if<int64_t>(&value)) text = std::to_string(*number);
  if (const auto* string = std::get_if<std::string>(&value)) {
    text = Quoted(EscapeControlCharacters(*string));
  }
  if (const auto* other = std::get_if<UnsupportedPreferenceValue>(&value)) {
    text = EscapeControlCharacters(other->text);
  }
  const std::optional<std::string> expected = ExpectedInstead(setting, value);
  return expected ? text + " (invalid: expected " + *expected + ")" : text;
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
