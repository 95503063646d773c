#include "programs/cli/defaults_command.h"

#include <array>
#include <optional>
#include <string>
#include <variant>

#include "platform/managers/log.h"
#include "programs/cli/messages.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

// What holds while a key is not set, in the order of kSettings.
constexpr std::array<std::string_view, kSettings.size()> kMeaningsWhenUnset = {
    "files are copied",
    "files are sorted by extension",
    "the desktop program stays open after a run",
    "subfolders are not entered",
    "a file of the same name is kept, the newcomer is renamed",
    "only an application's resources are filed",
    "comments are not carried over",
};

struct ValueText {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const {
    return Quoted(EscapeControlCharacters(value));
  }
  std::string operator()(const UnsupportedPreferenceValue&) const {
    return "a value of a type that is not read";
  }
};

// Brings the store in line with the file. False, and a line on standard error, where that fails.
bool Synchronise() {
  if (CFPreferencesAppSynchronize()) return true;
  PrintProblem(DescribePreferencesProblem().value_or(PreferencesFilePath() +
                                                     " could not be read or written"));
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
    text += value ? " = " + std::visit(ValueText(), *value)
                  : " not set (" + std::string(kMeaningsWhenUnset[i]) + ")";
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
    PrintProblem(options.key + " is not set");
    return ExitStatus::kFailure;
  }
  return PrintOutput(std::visit(ValueText(), *value) + "\n");
}

ExitStatus WriteDefault(const WriteDefaultOptions& options) {
  return Store(options.key, options.value);
}

ExitStatus DeleteDefault(const DeleteDefaultOptions& options) {
  return Store(options.key, std::nullopt);
}

}  // namespace tessary
