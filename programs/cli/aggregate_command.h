#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Files the source into the destination with the options' settings in place of the stored ones, and
// prints each failure on standard error and a summary on standard output. On a terminal, shows the
// progress. Returns kSuccess; kSomeFailed; or kFailure if no run took place, with one line on
// standard error and nothing changed on disk, and if the summary cannot be written. Does not return
// if the user interrupts the run: the process then ends by that signal, after the current item.
ExitStatus Aggregate(const AggregateOptions& options);

}  // namespace tessary
