#pragma once

#include <cstdint>

#include "platform/linux/changes/copy_item.h"
#include "platform/managers/status.h"

namespace tessary {

// Moves a file, a link or a folder with everything in it to another filesystem: copies it with its
// comment, makes the copy durable, checks that the source is still what was copied, and deletes the
// source. Attributes that the target cannot store are dropped, which is logged once.
// On failure the source is where it was and the copy is removed, with one exception: if the source
// was staged for deletion, could not be deleted, and its name was used by another program
// meanwhile, then it keeps the staged name, which is logged, and the copy stays. Errors: those of
// CopyItem; fBsyErr also if another process has the source open for writing or has changed it since
// it was copied; afpAccessDenied or wPrErr if the source cannot be deleted, which is reported
// before anything is copied if it can be known then.
// If another program moves or deletes the source meanwhile, the copy may be the only one left. It
// stays, which is logged; the status is then noErr.
Status MoveItemAcrossFilesystems(const CopySource& source, const CopyTarget& target);

// Returns how often this process has kept a copy for that reason.
uint64_t CountKeptCopies();

}  // namespace tessary
