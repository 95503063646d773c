#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// Copies what is in the regular file open as `from`, of which `info` tells, into the empty file
// open as `to`, of which `made` tells: to its real end, whatever the size says, with its holes, and
// sharing the blocks where the volume can. A file that grows while it is copied is given up early,
// with noErr: the caller looks whether the source has changed. noErr, else what the file system
// reports.
Status CopyContents(int from, const struct statx& info, int to, const struct statx& made);

}  // namespace tessary
