#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

// The preferences of the application's own domain: typed values under string keys, kept in one
// file that other programs may change at any time.
namespace tessary {

// A stored value of a type that the system has no use for (a float, a date, an array, a table).
struct UnsupportedPreferenceValue {
  bool operator==(const UnsupportedPreferenceValue&) const = default;
};

using CFPropertyList = std::variant<bool, int64_t, std::string, UnsupportedPreferenceValue>;

// The value of `key`, or none where it is absent or the file cannot be read. A value laid over the
// file comes first. Reads the file as it was at the last synchronise (or at the first use).
std::optional<CFPropertyList> CFPreferencesCopyAppValue(std::string_view key);

// Sets the value of `key`, or removes it where there is none. It is seen by reads at once and
// written by the next CFPreferencesAppSynchronize.
void CFPreferencesSetAppValue(const std::string& key, const std::optional<CFPropertyList>& value);

// Writes what was set since the last call, then reads the file again where it has changed. True
// when both worked. When writing failed what was set is forgotten, and the file is as it was.
bool CFPreferencesAppSynchronize();

// Lays a value over the file for the life of this process; nothing is written.
void OverridePreference(const std::string& key, const CFPropertyList& value);

// The path of the preferences file.
std::string PreferencesFilePath();

// Why the file could not be read or written at the last synchronise, as one sentence that names the
// file and what to do; none when all is well. For the program's front, which tells the user.
std::optional<std::string> DescribePreferencesProblem();

}  // namespace tessary
