#pragma once

#include <optional>
#include <string>

namespace tessary {

// Returns a new random UUID as text: 36 characters, upper-case hexadecimal digits in five groups
// joined by "-". Returns none if the system provides no random bytes.
std::optional<std::string> CFUUIDCreateString();

}  // namespace tessary
