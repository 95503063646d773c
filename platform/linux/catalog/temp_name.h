#pragma once

#include <string_view>

// The names of objects that are being made or unmade. Who finds one whose maker has died has found
// a leftover.
namespace tessary {

inline constexpr std::string_view kTempPrefix = ".tessary-";

// True for the prefix and an upper-case UUID, and for no other name.
bool IsTempName(std::string_view name);

}  // namespace tessary
