#pragma once

#include <sys/stat.h>

#include "platform/linux/catalog/reference.h"
#include "platform/managers/status.h"

// What the kernel tells of an object, and which of it says that two answers are about the same one.
namespace tessary {

// The object named (`folder`, `name`), a link being told about itself; with an empty name the one
// open as `folder`. Birth time and mount number are asked for too. noErr, fnfErr, else what the
// file system reports; `*info` is written on success only.
Status ReadObjectInfo(int folder, const char* name, struct statx* info);

// The same of the regular file of that identity open as `file`, as it is at this moment: what a
// volume told a while ago is asked for again. Waits for a change of its length that is under way.
Status ReadLatestInfo(int file, const Identity& identity, struct statx* info);

// True when (`folder`, `name`) is the object of that identity.
bool IsNameOf(int folder, const char* name, const Identity& identity);

// True when two answers about the same object show no sign of a change between them: the kernel
// renews the change time at every write and every change of mode, owner or attributes.
bool IsUnchanged(const struct statx& before, const struct statx& after);

// The same where the object was given another name between them, which renews the change time by
// itself on most volumes.
bool IsUnchangedButForName(const struct statx& before, const struct statx& after);

// True when the two lie on different mounts; by device where the kernel does not number mounts.
bool IsOnOtherMount(const struct statx& first, const struct statx& second);

}  // namespace tessary
