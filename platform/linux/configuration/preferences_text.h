#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/preferences_store.h"

// The text of the preferences file: TOML whose top-level keys are the preferences. Nothing here
// touches a file.
namespace tessary {

using PreferenceValues = std::map<std::string, CFPropertyList, std::less<>>;

// What each key is set to; a key without a value is removed.
using PreferenceChanges = std::map<std::string, std::optional<CFPropertyList>, std::less<>>;

// The size in bytes up to which a text is read as preferences.
inline constexpr size_t kMaxPreferencesSize = 65536;

// Reads the top-level keys of `text` into `values`. None on success, otherwise why the text cannot
// be read, with line and column where there is one place to look at; `values` is then as it was.
std::optional<std::string> ParsePreferences(std::string_view text, PreferenceValues* values);

// Puts into `changed` the text with the changes made, touching nothing else: a key's value is
// replaced where it stands, a new key follows the last top-level one, a removed key takes its own
// lines with it. Comments, order, unknown keys, line ends, a byte order mark and a missing last
// line end stay. A key that has its value already is not rewritten. None on success, otherwise why
// the changes cannot be made; `changed` is then as it was.
std::optional<std::string> ChangePreferences(const std::string& text,
                                             const PreferenceChanges& changes,
                                             std::string* changed);

}  // namespace tessary
