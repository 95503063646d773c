#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Runs once on the source, lays the options over the stored settings for that, and prints a summary
// line. kAllFiled, kSomeFailed, or kNoRun with one line on standard error and nothing changed on
// disk. A summary that cannot be written is told on standard error and leaves the status as the run
// made it.
ExitStatus Aggregate(const AggregateOptions& options);

}  // namespace tessary
