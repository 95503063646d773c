#pragma once

#include "platform/terminal/terminal_window_system.h"
#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Starts the shell over `terminal`, which is gWindowSystem, for one run on the source, lays the
// options over the stored settings for that, and prints a summary line. kSuccess, kSomeFailed, or
// kFailure with one line on standard error and nothing changed on disk. A summary that cannot be
// written is told on standard error and leaves the status as the run made it.
ExitStatus Aggregate(const AggregateOptions& options, TerminalWindowSystem* terminal);

}  // namespace tessary
