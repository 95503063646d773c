#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// The part that an object plays in a copy.
enum class CopyRole {
  kCopiedItem,  // the item itself: its own comment is left out, its creation date written down
  kMovedItem,   // the same of a move, which keeps the comment
  kInnerItem,   // an object inside a package: everything as it is
};

// Gives the file or folder open as `to`, which `made` tells of, what the one open as `from`, of
// which `info` tells, has besides its contents: the owner where permitted (else the set-id bits are
// dropped), attributes and access control lists, the mode, the times to the nanosecond. The
// creation date that Linux cannot set goes into an attribute, or into this process's memory where
// the volume has none.
// `*isAnyDropped` is set to true when the target's volume had no place for an attribute, and left
// alone otherwise. noErr, else what the file system reports.
Status CopyMetadata(int from, const struct statx& info, int to, const struct statx& made,
                    CopyRole role, bool* isAnyDropped);

}  // namespace tessary
