#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Puts the desktop program into the menus of the file managers that look for such things in their
// user's folders only, takes it out of them, or tells whether it is there; a line for each on
// standard output. kSuccess, or kFailure with a line on standard error for each file that cannot be
// understood or changed, which is then as it was; the others are seen to in any case.
ExitStatus Integrate(const IntegrateOptions& options);

}  // namespace tessary
