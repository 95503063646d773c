#pragma once

#include <string>
#include <vector>

#include "platform/terminal/terminal_window_system.h"

namespace tessary {

// Does what the arguments (without the program's name) ask for and returns the program's exit
// status. `terminal` is gWindowSystem.
int RunCommandLine(const std::vector<std::string>& arguments, TerminalWindowSystem* terminal);

}  // namespace tessary
