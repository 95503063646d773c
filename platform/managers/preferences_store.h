#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// The preferences of the application: typed values under string keys, stored in one file that other
// programs may change at any time.
namespace tessary {

// A stored value of a type that the application does not use (a float, a date, an array, a table).
// All of them are equal.
struct UnsupportedPreferenceValue {
  std::string text =
      {};  // as TOML on one line, for messages; "[...]" for an array, "{...}" for a table

  bool operator==(const UnsupportedPreferenceValue&) const { return true; }
};

using CFPropertyList = std::variant<bool, int64_t, std::string, UnsupportedPreferenceValue>;

// Returns the value of `key`, or none if it is absent or the file cannot be read. An override comes
// first, then a value that was set but not yet written, then the file as it was at the last
// synchronisation (or at the first use).
std::optional<CFPropertyList> CFPreferencesCopyAppValue(std::string_view key);

// Returns the keys in the file, sorted, whether or not the application uses them. Overrides and
// values that were set but not yet written do not count.
std::vector<std::string> CopyPreferenceKeys();

// Sets the value of `key`; no value removes the key. Later reads return the new value. The next
// CFPreferencesAppSynchronize writes it to the file.
void CFPreferencesSetAppValue(const std::string& key, const std::optional<CFPropertyList>& value);

// Writes the values set since the last call, then reads the file again if it has changed. Returns
// true if both succeeded. If the write fails, the values set are discarded and the file is
// unchanged.
bool CFPreferencesAppSynchronize();

// Overrides the value of `key` for the lifetime of this process. Nothing is written to the file.
void OverridePreference(const std::string& key, const CFPropertyList& value);

// Returns the absolute path of the preferences file, which need not exist.
std::string PreferencesFilePath();

// Describes, in one sentence for the front end to print, why the file could not be read or written
// at the last synchronisation. Returns none if it could.
std::optional<std::string> DescribePreferencesProblem();

}  // namespace tessary
