#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/catalog/place.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// Extended attributes of the object at a place: the kernel's calls for them, with their answers and
// their errno. Before Linux 6.13 those take no folder's descriptor, so the way is through /proc;
// where that is not mounted, as in a bare chroot, the object is opened, and one that may not be
// read answers EACCES.
namespace tessary {

enum class LinkHandling { kNoFollow, kFollow };

// llistxattr, or listxattr where links are followed.
ssize_t ListAttributes(const Place& place, char* names, size_t size,
                       LinkHandling linkHandling = LinkHandling::kNoFollow);

// lgetxattr, or getxattr where links are followed.
ssize_t GetAttribute(const Place& place, const char* name, void* value, size_t size,
                     LinkHandling linkHandling = LinkHandling::kNoFollow);

// Reads an attribute of any size; none where the object has no such one. noErr, else what the file
// system reports, and then nothing is written.
Status ReadAttribute(const Place& place, const char* name, LinkHandling linkHandling,
                     std::optional<std::string>* value);

// lsetxattr.
int SetAttribute(const Place& place, const char* name, const void* value, size_t size, int flags);

// Opens for reading the file or folder at a place. Nothing else is opened, as that could wait for
// somebody or set off something: those have no attributes of users, which is errno ENODATA. None,
// with errno, where it cannot be opened.
UniqueFd OpenForAttributes(const Place& place, LinkHandling linkHandling = LinkHandling::kNoFollow);

}  // namespace tessary
