#pragma once

#include <optional>
#include <string_view>

namespace tessary {

// The number of columns of the terminal on standard error; none where that is no terminal.
std::optional<int> GetConsoleColumns();

// Writes bytes to the terminal on standard error as they are.
void WriteToConsole(std::string_view bytes);

}  // namespace tessary
