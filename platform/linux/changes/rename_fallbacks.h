#pragma once

#include <optional>

#include "platform/managers/status.h"

// How RenameWithoutReplacing works on a filesystem without RENAME_NOREPLACE. Both ways take two
// steps. Arguments and errors are those of RenameWithoutReplacing unless stated otherwise.
namespace tessary {

// For anything but a folder: creates a second link, then removes the first one. paramErr: the
// filesystem has no hard links. An object that another program puts in place of the first name in
// the microseconds between the last check and its removal is lost; the kernel has no call that
// closes this window.
Status RenameByLink(int fromFolder, const char* fromName, int toFolder, const char* toName);

// Probes whether RenameByLink works on the filesystem of (`folder`, `name`): whether a hard link
// has the identity of the object that it was made for. Some FUSE filesystems present each link as a
// file of its own. Returns none if no link could be created. Probes with a link to the object, or
// to a temporary file if the object is not a file. The link has a temporary name in `folder`, which
// the next run cleans up if this one is killed.
std::optional<bool> ProbeHardLinks(int folder, const char* name);

// For every kind of object: creates an empty placeholder under the new name if that is free, then
// renames the object onto it. A rename can replace only an empty folder; any other placeholder is
// checked again just before. On rclone mounts, which create placeholders late, checks only that the
// name is free.
Status RenameOntoPlaceholder(int fromFolder, const char* fromName, int toFolder,
                             const char* toName);

// Returns true if `folder` is the folder (`parent`, `name`) or lies below it, also through mounts.
// Returns false if that cannot be determined.
bool LiesWithin(int folder, int parent, const char* name);

}  // namespace tessary
