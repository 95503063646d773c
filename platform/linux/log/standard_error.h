#pragma once

#include <string_view>

namespace tessary {

// Writes the bytes to standard error, by one system call unless that takes only a part of them. A
// failure is not reported: there is nowhere to report it.
void WriteToStandardError(std::string_view bytes);

}  // namespace tessary
