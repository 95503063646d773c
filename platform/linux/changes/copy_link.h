#pragma once

#include <sys/stat.h>

#include "platform/linux/changes/temp_item.h"
#include "platform/managers/status.h"

namespace tessary {

// Makes at (`toFolder`, `toName`) the same symbolic link as (`folder`, `name`), of which `info`
// tells, with its owner where permitted and its times, where the volume has any for links. Not
// whole or not at all: who calls it does so where nobody looks, and a trial link may be there for a
// moment. noErr, dupFNErr, fnfErr (another object by now), else what the file system reports; what
// was made before a failure stays.
Status RecreateLink(int folder, const char* name, const struct statx& info, int toFolder,
                    const char* toName);

// Copies the symbolic link in such a way that it appears whole. A link cannot be locked while it
// has a hidden name, so it is made inside a hidden folder, which can, and renamed out of it.
// `*made` owns the copy on success.
Status CopyLink(int folder, const char* name, const struct statx& info, int toFolder,
                const char* toName, TempItem* made);

}  // namespace tessary
