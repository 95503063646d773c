#pragma once

#include <optional>
#include <string>

namespace tessary {

// A new random UUID in its string form: 36 characters, upper-case hexadecimal digits in five groups
// joined by "-". None when the system has no randomness to give.
std::optional<std::string> CFUUIDCreateString();

}  // namespace tessary
