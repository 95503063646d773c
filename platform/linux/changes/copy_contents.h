#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// Copies the contents of the open regular file `from` into the open empty file `to`; `info` and
// `made` are their stat results. Reads to the end of the file, whatever its size says, preserves
// holes, and shares blocks (reflink) where the filesystem can.
// Gives up early, with noErr, on a file that grows while it is copied: the caller checks anyway
// whether the source has changed. Errors: the status of the failed system call.
Status CopyContents(int from, const struct statx& info, int to, const struct statx& made);

}  // namespace tessary
