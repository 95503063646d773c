#pragma once

#include <string_view>

// The names of objects that are being made or unmade. Who finds one whose maker has died has found
// a leftover.
namespace tessary {

inline constexpr std::string_view kHiddenPrefix = ".tessary-";

// True for the prefix and an upper-case UUID, and for no other name.
bool IsHiddenName(std::string_view name);

}  // namespace tessary
