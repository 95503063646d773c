#pragma once

namespace tessary {

// From now on, SIGINT and SIGTERM do not end the process, but are remembered. The same signal ends
// it if it comes again. A signal that was ignored when the process started, as in a background job
// of a script, stays ignored.
void CatchInterruption();

// Returns true if such a signal has come.
bool IsInterrupted();

// Ends the process by the signal that has come, so that a calling shell sees it.
[[noreturn]] void EndByInterruption();

}  // namespace tessary
