#pragma once

#include "platform/managers/status.h"

namespace tessary {

// Maps an errno value to a status. Returns noErr for 0 and ioErr for a value that has no status of
// its own. Every status that originates in a failed system call comes from here.
Status StatusFromErrno(int error);

// Returns the status for the current errno. Call it directly after the failed call.
Status LastError();

}  // namespace tessary
