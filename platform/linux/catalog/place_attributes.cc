#include "platform/linux/catalog/place_attributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <utility>

#include "platform/linux/errors.h"

namespace tessary {

UniqueFd OpenForAttributes(const Place& place, AtLink atLink) {
  const bool follows = atLink == AtLink::kFollow;
  struct stat info = {};
  const int flags = follows ? 0 : AT_SYMLINK_NOFOLLOW;
  if (fstatat(place.descriptor(), place.name.c_str(), &info, flags) != 0) return UniqueFd();
  if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
    errno = ENODATA;
    return UniqueFd();
  }
  constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  return UniqueFd(
      openat(place.descriptor(), place.name.c_str(), kFlags | (follows ? 0 : O_NOFOLLOW)));
}

ssize_t ListAttributes(const Place& place, char* names, size_t size, AtLink atLink) {
  const std::string path = place.ProcessPath();
  const ssize_t listed = atLink == AtLink::kFollow ? listxattr(path.c_str(), names, size)
                                                   : llistxattr(path.c_str(), names, size);
  if (listed >= 0 || errno != ENOENT) return listed;
  const UniqueFd object = OpenForAttributes(place, atLink);
  if (object) return flistxattr(object.get(), names, size);
  return errno == ENODATA ? 0 : -1;
}

ssize_t GetAttribute(const Place& place, const char* name, void* value, size_t size,
                     AtLink atLink) {
  const std::string path = place.ProcessPath();
  const ssize_t got = atLink == AtLink::kFollow ? getxattr(path.c_str(), name, value, size)
                                                : lgetxattr(path.c_str(), name, value, size);
  if (got >= 0 || errno != ENOENT) return got;
  const UniqueFd object = OpenForAttributes(place, atLink);
  return object ? fgetxattr(object.get(), name, value, size) : -1;
}

Status ReadAttribute(const Place& place, const char* name, AtLink atLink,
                     std::optional<std::string>* value) {
  constexpr size_t kUsualSize = 1024;
  std::string bytes(kUsualSize, '\0');
  while (true) {
    ssize_t size = GetAttribute(place, name, bytes.data(), bytes.size(), atLink);
    if (size >= 0) {
      bytes.resize(static_cast<size_t>(size));
      *value = std::move(bytes);
      return noErr;
    }
    // The room for what is there at this moment; it may have grown again by the next.
    if (errno == ERANGE) size = GetAttribute(place, name, nullptr, 0, atLink);
    if (size < 0 && errno == ENODATA) {
      value->reset();
      return noErr;
    }
    if (size < 0) return LastError();
    bytes.resize(static_cast<size_t>(size));
  }
}

int SetAttribute(const Place& place, const char* name, const void* value, size_t size, int flags) {
  const int result = lsetxattr(place.ProcessPath().c_str(), name, value, size, flags);
  if (result == 0 || errno != ENOENT) return result;
  const UniqueFd object = OpenForAttributes(place);
  if (object) return fsetxattr(object.get(), name, value, size, flags);
  // What the kernel says of what cannot have such attributes.
  if (errno == ENODATA) errno = EPERM;
  return -1;
}

}  // namespace tessary
