#pragma once

#include <string>
#include <vector>

#include "programs/cli/exit_status.h"

namespace tessary {

// Runs the command that the arguments (without the program's name) ask for, and returns the status
// to exit with.
ExitStatus RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace tessary
