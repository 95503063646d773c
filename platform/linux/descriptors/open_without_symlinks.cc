#include "platform/linux/descriptors/open_without_symlinks.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace tessary {
namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

UniqueFd OpenWithOpenat2(const std::string& path) {
  open_how how = {};
  how.flags = kFolderFlags;
  how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return UniqueFd(
      static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))));
}

// Opens one component. With O_DIRECTORY and O_NOFOLLOW the kernel refuses a link, those of /proc
// included, with the errno for a file, ENOTDIR.
UniqueFd OpenComponent(int folder, const std::string& name) {
  UniqueFd opened(openat(folder, name.c_str(), kFolderFlags | O_NOFOLLOW));
  if (opened || errno != ENOTDIR) return opened;
  struct stat info = {};
  const bool isLink =
      fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(info.st_mode);
  errno = isLink ? ELOOP : ENOTDIR;
  return opened;
}

UniqueFd OpenByComponents(std::string_view path) {
  UniqueFd folder = OpenComponent(AT_FDCWD, "/");
  while (folder && !path.empty()) {
    const size_t end = path.find('/');
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (!name.empty()) folder = OpenComponent(folder.get(), std::string(name));
  }
  return folder;
}

}  // namespace

UniqueFd OpenFolderWithoutSymlinks(const std::string& path) {
  UniqueFd opened = OpenWithOpenat2(path);
  // ENOSYS before Linux 5.6, EPERM from the filters of some sandboxes. ENAMETOOLONG also for a path
  // that is too long for one call.
  const bool isRefused = errno == ENOSYS || errno == EPERM || errno == ENAMETOOLONG;
  if (!opened && isRefused) return OpenByComponents(path);
  return opened;
}

}  // namespace tessary
