#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Prints what a run sees of each file. A file that cannot be read is reported on standard error,
// and the others are printed nevertheless. Returns kSuccess if all could be read, kSomeFailed if
// some could not, kFailure if none could or the output could not be written.
ExitStatus PrintInfo(const InfoOptions& options);

}  // namespace tessary
