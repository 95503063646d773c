#pragma once

#include "platform/managers/status.h"

namespace tessary {

// The status that stands for an errno value: the one table from one to the other. noErr for 0, and
// ioErr for a value that has no status of its own.
Status StatusFromErrno(int error);

// The status of the call that has just failed.
Status LastError();

}  // namespace tessary
