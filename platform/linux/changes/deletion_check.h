#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// Tells without trying whether the object that `info` tells of, in the folder open as `folder`, may
// be deleted by this process; of a folder, whether everything in it may. noErr; afpAccessDenied (no
// permission, another user's object in a shared folder, or made immutable); wPrErr; fBsyErr (a
// volume is mounted on it); diffVolErr (one is mounted inside); else what the file system reports.
Status CheckDeletable(int folder, const char* name, const struct statx& info);

}  // namespace tessary
