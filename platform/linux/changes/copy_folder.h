#pragma once

#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_metadata.h"
#include "platform/managers/status.h"

namespace tessary {

// Copies the folder (`folder`, `name`), whose stat result is `copied->source`, with everything in
// it, into the open folder `toFolder`. The copy is built under a temporary name and published as
// `toName` by one rename. Hard links inside stay hard links if the filesystem has any. For a move,
// everything is durable before it is published. Names inside get the substitutes of NameOnVolume.
// `*copied` is unspecified on failure.
// Errors: dupFNErr (the name exists; or two names inside would become one at the target, which is
// logged); bdNamErr; badMovErr (the target lies inside the folder); fnfErr (another object
// by now); paramErr (a FIFO, socket or device inside); diffVolErr (a mount inside); fBsyErr (it
// keeps changing); otherwise the status of the failed system call.
Status CopyFolder(int folder, const char* name, int toFolder, const char* toName, CopyRole role,
                  CopiedItem* copied);

}  // namespace tessary
