#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/catalog/place.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// Extended attributes of the object at a place. The functions return what the kernel's calls
// return, and set errno. Each tries up to three ways:
//
//   1. getxattrat and listxattrat, by folder descriptor and name (Linux 6.13)
//   2. lgetxattr and the like, by a path through /proc/self/fd
//   3. fgetxattr and the like, on the opened object, if /proc is not mounted, as in a bare chroot.
//      Then an unreadable object gives EACCES.
namespace tessary {

enum class LinkHandling { kNoFollow, kFollow };

// Like llistxattr, or listxattr with kFollow.
ssize_t ListAttributes(const Place& place, char* names, size_t size,
                       LinkHandling linkHandling = LinkHandling::kNoFollow);

// Like lgetxattr, or getxattr with kFollow.
ssize_t GetAttribute(const Place& place, const char* name, void* value, size_t size,
                     LinkHandling linkHandling = LinkHandling::kNoFollow);

// Reads an attribute of any size; `*value` is none if the object does not have it. Returns noErr;
// otherwise a filesystem error, and `*value` is not written.
Status ReadAttribute(const Place& place, const char* name, LinkHandling linkHandling,
                     std::optional<std::string>* value);

// Like lsetxattr.
int SetAttribute(const Place& place, const char* name, const void* value, size_t size, int flags);

// Opens the regular file or folder at a place for reading. Returns none, with errno, if it cannot
// be opened. Other objects are not opened, because opening a FIFO can block and opening a device
// can have effects; they have no user attributes, so errno is ENODATA.
UniqueFd OpenForAttributes(const Place& place, LinkHandling linkHandling = LinkHandling::kNoFollow);

}  // namespace tessary
