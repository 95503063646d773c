#pragma once

#include <optional>
#include <string_view>

namespace tessary {

// Returns the number of columns of the terminal on standard error, or none if standard error is not
// a terminal.
std::optional<int> GetConsoleColumns();

// Writes bytes unchanged to the terminal on standard error. A failure is ignored.
void WriteToConsole(std::string_view bytes);

}  // namespace tessary
