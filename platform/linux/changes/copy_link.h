#pragma once

#include <sys/stat.h>

#include "platform/linux/changes/copied_item.h"
#include "platform/managers/status.h"

namespace tessary {

// Creates at (`toFolder`, `toName`) a symbolic link like (`folder`, `name`), whose stat result is
// `info`, with its owner where permitted and its times where the filesystem can set those of links.
// Not atomic: `toFolder` must be a folder that nobody else uses yet, and it may hold a temporary
// probe link for a moment. What was created before a failure stays.
// Errors: dupFNErr; fnfErr (another object by now); otherwise the status of the failed system call.
Status RecreateLink(int folder, const char* name, const struct statx& info, int toFolder,
                    const char* toName);

// Copies the symbolic link (`folder`, `name`), whose stat result is `copied->source`, to
// (`toFolder`, `toName`), where it appears complete. `copied->item` is written on success only.
// Errors: those of RecreateLink and of RenameWithoutReplacing.
Status CopyLink(int folder, const char* name, int toFolder, const char* toName, CopiedItem* copied);

}  // namespace tessary
