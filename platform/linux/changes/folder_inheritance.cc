#include "platform/linux/changes/folder_inheritance.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/catalog/volume.h"

namespace tessary {
namespace {

// Flags that new files inherit. The others describe how the folder itself is stored.
constexpr uint32_t kInheritedFlags = FS_SECRM_FL | FS_UNRM_FL | FS_COMPR_FL | FS_NOCOMP_FL |
                                     FS_SYNC_FL | FS_DIRSYNC_FL | FS_NODUMP_FL | FS_NOATIME_FL |
                                     FS_JOURNAL_DATA_FL | FS_NOTAIL_FL | FS_NOCOW_FL | FS_DAX_FL |
                                     FS_ENCRYPT_FL | FS_PROJINHERIT_FL;

// A filesystem that has no such properties leaves `*value` as it is.
template <typename Value>
bool Query(int folder, unsigned long request, Value* value) {
  return ioctl(folder, request, value) == 0 || errno == ENOTTY || errno == EOPNOTSUPP ||
         errno == EINVAL || errno == ENOSYS;
}

// Returns false if the kernel does not use SELinux: it creates a folder in /sys/fs if it does.
bool IsLabelling() {
  static const bool isAbsent =
      access("/sys/fs/selinux", F_OK) != 0 && errno == ENOENT && access("/sys/fs", F_OK) == 0;
  return !isAbsent;
}

bool ReadLabel(int folder, std::string* label) {
  std::array<char, 256> text = {};
  const ssize_t size = fgetxattr(folder, "security.selinux", text.data(), text.size());
  if (size < 0) return errno == ENODATA || errno == EOPNOTSUPP;
  label->assign(text.data(), static_cast<size_t>(size));
  return true;
}

}  // namespace

std::optional<FolderInheritance> ReadInheritance(int folder, uint32_t device) {
  FolderInheritance found;
  fsxattr extended = {};
  unsigned flags = 0;
  if (!Query(folder, FS_IOC_GETFLAGS, &flags)) return std::nullopt;
  if (!VolumeOf(device, folder).inheritsFlagsOnly && !Query(folder, FS_IOC_FSGETXATTR, &extended)) {
    return std::nullopt;
  }
  if (IsLabelling() && !ReadLabel(folder, &found.label)) return std::nullopt;
  found.flags = flags & kInheritedFlags;
  // Files do not inherit whether the folder has attributes.
  found.extendedFlags = extended.fsx_xflags & ~uint32_t{FS_XFLAG_HASATTR};
  found.project = extended.fsx_projid;
  found.extentSize = extended.fsx_extsize;
  found.copyOnWriteSize = extended.fsx_cowextsize;
  return found;
}

}  // namespace tessary
