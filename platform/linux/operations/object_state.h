#pragma once

#include <sys/stat.h>

#include "platform/managers/change_observer.h"

namespace tessary {

// The state in a stat result that was read with ReadObjectInfo.
ObjectState ObjectStateOf(const struct statx& info);

// Returns true if the object with the stat result `info` is the recorded one. Inode numbers are not
// compared on filesystems on which they change while nobody touches the object, and device numbers
// only if there is no birth time: the kernel may assign another number after the next mount. If the
// recorded inode number is 0, the identity is not known, and any object will do. The filesystem
// must have been examined (VolumeOf).
bool IsObjectInState(const struct statx& info, const ObjectState& recorded);

// Returns true if the object is the recorded one, unchanged.
bool IsInState(const struct statx& info, const ObjectState& recorded);

// Returns true if both have the same type, modification time and, except for folders, size. For a
// copy, which has another identity.
bool HasSameSizeAndTime(const struct statx& info, const ObjectState& recorded);

}  // namespace tessary
