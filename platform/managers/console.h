#pragma once

#include <optional>
#include <string_view>

namespace tessary {

// The console is the terminal on standard error or, if that is none, the one on standard output.
// Returns the number of its columns. None if neither is a terminal, and if the terminal interprets
// no escape sequences (TERM=dumb).
std::optional<int> GetConsoleColumns();

// Returns true if standard output is a terminal.
bool IsOutputOnTerminal();

// Writes bytes unchanged to the console, if there is one. A failure is ignored.
void WriteToConsole(std::string_view bytes);

}  // namespace tessary
