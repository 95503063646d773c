#pragma once

#include <sys/stat.h>

#include "platform/linux/changes/copy_metadata.h"
#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/managers/status.h"

namespace tessary {

// Copies the folder (`folder`, `name`) that `info` tells of, with everything in it, into the folder
// open as `toFolder`: under a hidden name first, then published as `toName` by one renaming. Hard
// links inside stay links, as far as the volume has any. In a move, everything is made durable
// before it is published, and `*manifest` is what was copied. `*made` owns the copy on success.
// noErr, dupFNErr, bdNamErr, badMovErr (the target lies inside), fnfErr (another object by now),
// paramErr (a FIFO, socket or device is inside), diffVolErr (another volume is mounted inside),
// fBsyErr (it keeps changing), else what the file system reports.
Status CopyFolder(int folder, const char* name, const struct statx& info, int toFolder,
                  const char* toName, CopyRole role, TempItem* made, Manifest* manifest,
                  bool* isAnyDropped);

}  // namespace tessary
