#pragma once

#include <string_view>

namespace tessary {

// Writes the bytes to standard error, with one system call unless the kernel accepts only a part of
// them. A failure is not reported, because there is no other place to report it.
void WriteToStandardError(std::string_view bytes);

// Writes the bytes to a terminal in the same way.
void WriteToTerminal(int file, std::string_view bytes);

}  // namespace tessary
