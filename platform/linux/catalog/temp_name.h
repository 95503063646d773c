#pragma once

#include <string>
#include <string_view>

// The names of temporary files and folders (platform/linux/changes/temp_item.h).
namespace tessary {

// The prefix of every temporary name.
inline constexpr std::string_view kTempPrefix = ".tessary-";

// Returns true for the prefix followed by an upper-case UUID.
bool IsTempName(std::string_view name);

// Returns the name of the UUID without the leading dot: one that is visible, that every filesystem
// accepts, and that no cleanup removes.
inline std::string VisibleTempName(const std::string& uuid) {
  return std::string(kTempPrefix.substr(1)) + uuid;
}

// Returns true for an upper-case UUID in its usual form.
bool IsUuid(std::string_view text);

}  // namespace tessary
