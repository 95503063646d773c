#include "platform/linux/catalog/place_attributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/errors.h"

namespace tessary {
namespace {

// getxattrat and listxattrat have the same numbers on every architecture, but not every C library
// has wrappers for them. They are worth it: a listing through /proc takes four times as long.
constexpr long kGetXattrAt = 464;
constexpr long kListXattrAt = 465;

// The kernel's struct xattr_args.
struct XattrArguments {
  uint64_t value = 0;
  uint32_t size = 0;
  uint32_t flags = 0;
};

// Set to false by the first such call that the kernel does not support. Atomic, so that attributes
// can be read on any thread.
std::atomic<bool> gHasXattrAtCalls = true;

// An older kernel returns ENOSYS; a seccomp filter that does not know the call often returns EPERM.
bool IsUnknownCall(int error) { return error == ENOSYS || error == EPERM; }

// Makes one of these calls. Returns false if the kernel does not support it.
template <typename Call>
bool TryXattrAtCall(const Call& call, ssize_t* answer) {
  if (!gHasXattrAtCalls) return false;
  *answer = call();
  if (*answer >= 0 || !IsUnknownCall(errno)) return true;
  gHasXattrAtCalls = false;
  return false;
}

int FlagsFor(LinkHandling linkHandling) {
  return linkHandling == LinkHandling::kFollow ? 0 : AT_SYMLINK_NOFOLLOW;
}

}  // namespace

UniqueFd OpenForAttributes(const Place& place, LinkHandling linkHandling) {
  const bool follows = linkHandling == LinkHandling::kFollow;
  // The stat comes first, because opening a device can have effects. An object that is replaced by
  // a FIFO in between does not block the open, thanks to O_NONBLOCK.
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

ssize_t ListAttributes(const Place& place, char* names, size_t size, LinkHandling linkHandling) {
  ssize_t answer = -1;
  const auto list = [&] {
    return syscall(kListXattrAt, place.descriptor(), place.name.c_str(), FlagsFor(linkHandling),
                   names, size);
  };
  if (TryXattrAtCall(list, &answer)) return answer;
  const std::string path = place.ProcessPath();
  const ssize_t listed = linkHandling == LinkHandling::kFollow
                             ? listxattr(path.c_str(), names, size)
                             : llistxattr(path.c_str(), names, size);
  // ENOENT also means that /proc is not mounted.
  if (listed >= 0 || errno != ENOENT) return listed;
  const UniqueFd object = OpenForAttributes(place, linkHandling);
  if (object) return flistxattr(object.get(), names, size);
  return errno == ENODATA ? 0 : -1;
}

ssize_t GetAttribute(const Place& place, const char* name, void* value, size_t size,
                     LinkHandling linkHandling) {
  ssize_t answer = -1;
  const auto get = [&] {
    const XattrArguments arguments = {reinterpret_cast<uint64_t>(value),
                                      static_cast<uint32_t>(size)};
    return syscall(kGetXattrAt, place.descriptor(), place.name.c_str(), FlagsFor(linkHandling),
                   name, &arguments, sizeof(arguments));
  };
  if (TryXattrAtCall(get, &answer)) return answer;
  const std::string path = place.ProcessPath();
  const ssize_t got = linkHandling == LinkHandling::kFollow
                          ? getxattr(path.c_str(), name, value, size)
                          : lgetxattr(path.c_str(), name, value, size);
  if (got >= 0 || errno != ENOENT) return got;
  const UniqueFd object = OpenForAttributes(place, linkHandling);
  return object ? fgetxattr(object.get(), name, value, size) : -1;
}

Status ReadAttribute(const Place& place, const char* name, LinkHandling linkHandling,
                     std::optional<std::string>* value) {
  constexpr size_t kUsualSize = 1024;
  std::string bytes(kUsualSize, '\0');
  while (true) {
    ssize_t size = GetAttribute(place, name, bytes.data(), bytes.size(), linkHandling);
    if (size >= 0) {
      bytes.resize(static_cast<size_t>(size));
      *value = std::move(bytes);
      return noErr;
    }
    // Asks for the size and tries again. The loop is needed because the value may grow between the
    // two calls.
    if (errno == ERANGE) size = GetAttribute(place, name, nullptr, 0, linkHandling);
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
  // The kernel's error for user attributes on a link or a special file.
  if (errno == ENODATA) errno = EPERM;
  return -1;
}

}  // namespace tessary
