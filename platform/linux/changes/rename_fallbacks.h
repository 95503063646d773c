#pragma once

#include <optional>

#include "platform/managers/status.h"

// How RenameWithoutReplacing does its work where the volume does not know the flag for it.
// Arguments and statuses are its own.
namespace tessary {

// For anything but a folder: a second link, then the first one removed. paramErr where links are
// not to be had here. A name that another program gives to another object in the few microseconds
// between the last check and the removal is lost to it; no call of the kernel closes that gap.
Status RenameByLink(int fromFolder, const char* fromName, int toFolder, const char* toName);

// Whether a link to the object (`folder`, `name`), or one like it, is seen to be one, which
// RenameByLink goes by. Some FUSE volumes make links and show each as a file of its own. None where
// no link could be made. Tries it under a hidden name beside the object, in the folder that the
// next run sweeps in any case should this one be killed, with a file of its own where the object is
// none; and leaves nothing.
std::optional<bool> ProbeHardLinks(int folder, const char* name);

// For everything: the new name is taken by an empty placeholder, made only where nothing bears it,
// and the object is renamed onto that. A folder can only ever replace an empty one; for the rest
// the placeholder is looked at once more just before.
Status RenameOntoPlaceholder(int fromFolder, const char* fromName, int toFolder,
                             const char* toName);

// Whether `folder` is the folder named (`parent`, `name`) or lies below it, mounts being crossed.
// False where that cannot be told.
bool LiesWithin(int folder, int parent, const char* name);

}  // namespace tessary
