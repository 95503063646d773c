#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// The role of an object in a copy or move.
enum class CopyRole {
  kCopiedItem,  // the item that is copied: without its comment, with its creation date
  kMovedItem,   // the item that is moved: with its comment and its creation date
  kInnerItem,   // an object inside a package: its attributes as they are
};

// Copies everything but the contents from the open file or folder `from` to `to`; `info` and `made`
// are their stat results. Sets the owner where permitted (and drops the set-id bits otherwise),
// attributes and access control lists, the mode, and the times to the nanosecond. Linux cannot set
// a birth time: the creation date goes into an attribute, or is remembered for the run if it cannot
// be stored in one.
// Sets `*isAnyDropped` to true if the target filesystem cannot store an attribute, and leaves it
// alone otherwise. Errors: the status of the failed system call.
Status CopyMetadata(int from, const struct statx& info, int to, const struct statx& made,
                    CopyRole role, bool* isAnyDropped);

}  // namespace tessary
