#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

namespace tessary {

// Runs the command "undo": reverses the changes that a journal records. Prints one line for each
// change that stays, and a summary. Returns kSuccess if none stays, kSomeFailed if some stay,
// kFailure if all stay, or if the journal cannot be read.
ExitStatus Undo(const UndoOptions& options);

}  // namespace tessary
