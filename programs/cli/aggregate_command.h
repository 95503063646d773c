#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Files the source into the destination with the options' settings in place of the stored ones, and
// prints a summary line on standard output. On a terminal, standard error shows the progress.
// Returns kSuccess; kSomeFailed; or kFailure, with one line on standard error and nothing changed
// on disk. A summary that cannot be written is reported on standard error and does not change the
// status.
ExitStatus Aggregate(const AggregateOptions& options);

}  // namespace tessary
