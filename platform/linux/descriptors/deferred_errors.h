#pragma once

#include "platform/managers/status.h"

namespace tessary {

// Forces deferred write errors of the open file to be reported now. Some filesystems report ENOSPC
// or EIO only from close(2), and some create the file only then; closing a duplicate descriptor
// triggers that flush. Errors: the status of the failed system call.
Status FlushDeferredErrors(int file);

}  // namespace tessary
