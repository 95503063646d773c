#pragma once

#include <string>
#include <vector>

namespace tessary {

// Does what the arguments (without the program's name) ask for and returns the program's exit
// status.
int RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace tessary
