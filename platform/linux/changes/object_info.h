#pragma once

#include <sys/stat.h>

#include <array>
#include <ctime>

#include "platform/linux/catalog/reference.h"
#include "platform/managers/status.h"

// Stat results of objects, and what can be concluded from two of them.
namespace tessary {

// Stats (`folder`, `name`) without following a link, or the open object `folder` if the name is
// empty. Includes birth time and mount ID where available. `*info` is written on success only.
// Errors: fnfErr; otherwise the status of the failed system call.
Status ReadObjectInfo(int folder, const char* name, struct statx* info);

// Stats the open regular file `file`, which has that identity, and bypasses attributes cached by
// network and FUSE filesystems. Waits for a change of the file's size that is in progress. `*info`
// is written on success only. Errors: the status of the failed system call.
Status ReadLatestInfo(int file, const Identity& identity, struct statx* info);

// Returns true if (`folder`, `name`) is the object of that identity.
bool IsNameOf(int folder, const char* name, const Identity& identity);

// Returns true if two stat results of the same object show no change between them. The change time
// is what matters: the kernel updates it for every write and every change of mode, owner or
// attributes, and no program can set it.
bool IsUnchanged(const struct statx& before, const struct statx& after);

// As IsUnchanged, but ignores the change time, which most filesystems also update when the object
// is renamed. For use when the object was renamed in between.
bool IsUnchangedButForName(const struct statx& before, const struct statx& after);

// As IsUnchangedButForName, but ignores the identity too. For two stat results of one object whose
// identity may have changed (rename_pin.h).
bool HasSameAttributes(const struct statx& before, const struct statx& after);

// Returns the access and the modification time, as futimens and utimensat take them.
std::array<timespec, 2> FileTimesOf(const struct statx& info);

// Returns true if the two objects are on different mounts, or, before Linux 5.8, which has no mount
// IDs, on different devices.
bool IsOnOtherMount(const struct statx& first, const struct statx& second);

}  // namespace tessary
