#include "platform/linux/changes/deletion_check.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// Returns whether the process may delete other users' files in a sticky folder. That is CAP_FOWNER,
// which root can lack, for instance in a container. The C library has no function for it.
bool OverridesOwnership() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> data = {};
  if (syscall(SYS_capget, &header, data.data()) != 0) return false;
  return (data[0].effective & (1U << CAP_FOWNER)) != 0;
}

bool IsImmutable(const struct statx& info) {
  return (info.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

// Checks what applies to every object in an open folder, and stats the folder.
Status CheckFolder(int folder, struct statx* info) {
  // The kernel decides about modes, ACLs and read-only mounts. AT_EACCESS: by the effective IDs,
  // which unlinkat uses.
  if (faccessat(folder, ".", W_OK | X_OK, AT_EACCESS) != 0) return LastError();
  if (const Status status = ReadObjectInfo(folder, "", info)) return status;
  return IsImmutable(*info) ? afpAccessDenied : noErr;
}

class DeletionCheck : public TreeVisitor {
 public:
  Status VisitObject(int folder, const char* /*name*/, const struct statx& info) override {
    struct statx folderInfo = {};
    if (const Status status = ReadObjectInfo(folder, "", &folderInfo)) return status;
    return CheckObjectDeletable(folderInfo, info);
  }

  // A folder has to permit the deletion of its objects, and its parent that of the folder.
  Status EnterFolder(int folder, const char* name, const struct statx& info, int opened) override {
    struct statx inner = {};
    if (const Status status = CheckFolder(opened, &inner)) return status;
    return VisitObject(folder, name, info);
  }
};

}  // namespace

// Checks what the kernel checks for each object when it is deleted; faccessat does not cover it.
Status CheckObjectDeletable(const struct statx& folder, const struct statx& info) {
  if (IsImmutable(info)) return afpAccessDenied;
  if ((info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) return fBsyErr;
  if ((folder.stx_mode & S_ISVTX) == 0) return noErr;
  const uid_t user = geteuid();
  const bool isOthers = user != info.stx_uid && user != folder.stx_uid;
  return isOthers && !OverridesOwnership() ? afpAccessDenied : noErr;
}

Status CheckDeletable(int folder, const char* name, const struct statx& info) {
  struct statx folderInfo = {};
  if (const Status status = CheckFolder(folder, &folderInfo)) return status;
  if (const Status status = CheckObjectDeletable(folderInfo, info)) return status;
  if (!S_ISDIR(info.stx_mode)) return noErr;

  const UniqueFd opened = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  if (!opened) return LastError();
  if (!IsNameOf(opened.get(), "", Identity::Of(info))) return fnfErr;
  struct statx inner = {};
  if (const Status status = CheckFolder(opened.get(), &inner)) return status;
  DeletionCheck check;
  return WalkTree(opened.get(), check);
}

}  // namespace tessary
