#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Adds the desktop program to the menus of those file managers that read them from folders of the
// user only, removes it, or checks whether it is there. Prints one line for each. Returns kSuccess,
// or kFailure with a line on standard error for each file that cannot be read or changed; it is
// then unchanged, and the other files are processed nevertheless. Adds nothing and returns kFailure
// with one line if the desktop program is not installed, because the entries could not start it.
ExitStatus Integrate(const IntegrateOptions& options);

}  // namespace tessary
