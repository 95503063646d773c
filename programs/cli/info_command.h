#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Tells on standard output what a run would see of each of the files. One that cannot be told of is
// a line on standard error, and the others are told all the same. kSuccess: all were told of;
// kFailure: none was, or the output could not be written; kSomeFailed: some were not.
ExitStatus PrintInfo(const InfoOptions& options);

}  // namespace tessary
