#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/preferences_store.h"

// The text of the preferences file: TOML whose top-level keys are the preferences. These functions
// work on texts and access no file.
namespace tessary {

using PreferenceValues = std::map<std::string, CFPropertyList, std::less<>>;

// The new value of each key; a key without a value is removed.
using PreferenceChanges = std::map<std::string, std::optional<CFPropertyList>, std::less<>>;

// The size limit of a text, in bytes.
inline constexpr size_t kMaxPreferencesSize = 65536;

// Why a text cannot be read or changed.
struct PreferencesProblem {
  size_t line = 0;    // from 1; 0 if the problem has no position
  size_t column = 0;  // in characters, from 1; 0 if the problem has no position
  std::string reason;
};

// Reads the top-level keys of `text` into `*values`. Returns none on success, otherwise why the
// text cannot be read; `*values` is then unchanged.
std::optional<PreferencesProblem> ParsePreferences(std::string_view text, PreferenceValues* values);

// Applies the changes to `text` and stores the result in `*changed`. The value of a key is replaced
// in place, a new key is inserted after the last top-level key, a removed key is deleted with its
// lines. Everything else is kept: comments, order, unknown keys, line ends, a byte order mark and a
// missing last line end. A key that already has its value is not rewritten. Returns none on
// success, otherwise why the changes cannot be made; `*changed` is then unchanged.
std::optional<PreferencesProblem> ChangePreferences(const std::string& text,
                                                    const PreferenceChanges& changes,
                                                    std::string* changed);

}  // namespace tessary
