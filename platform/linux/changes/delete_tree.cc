#include "platform/linux/changes/delete_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// Gives the owner all permissions on the open folder: one that denies them to its owner could be
// neither read nor emptied. Works on an O_PATH descriptor, which needs no permission on the folder;
// fchmod does not take one, hence the path through /proc.
void GrantOwnerAccess(int folder, const struct statx& info) {
  if ((info.stx_mode & S_IRWXU) == S_IRWXU || info.stx_uid != geteuid()) return;
  // A failure shows at the next step, where the folder is opened or emptied.
  (void)chmod(ProcFdPath(folder).c_str(), S_IRWXU);
}

// Deletes the objects in a folder before the folder itself.
class Deletion : public TreeVisitor {
 public:
  explicit Deletion(bool* hasBegun) : hasBegun_(hasBegun) {}

  Status VisitObject(int folder, const char* name, const struct statx& /*info*/) override {
    return Remove(folder, name, 0);
  }

  Status OpenFolder(int folder, const char* name, const struct statx& info,
                    UniqueFd* opened) override {
    const UniqueFd path(openat(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!path) return LastError();
    GrantOwnerAccess(path.get(), info);
    return TreeVisitor::OpenFolder(folder, name, info, opened);
  }

  Status EnterFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                     int /*opened*/) override {
    return noErr;
  }

  Status LeaveFolder(int folder, const char* name, const struct statx& /*info*/,
                     int /*left*/) override {
    return Remove(folder, name, AT_REMOVEDIR);
  }

  Status Remove(int folder, const char* name, int flags) {
    if (unlinkat(folder, name, flags) != 0) return LastError();
    *hasBegun_ = true;
    return noErr;
  }

 private:
  bool* hasBegun_;
};

}  // namespace

// Catches the exception here, because the caller needs `*hasBegun` also when memory runs out: it
// decides which of original and copy is the complete one.
Status DeleteTree(int folder, const char* name, int opened, bool* hasBegun) try {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(opened, "", &info)) return status;
  GrantOwnerAccess(opened, info);
  Deletion deletion(hasBegun);
  if (const Status status = WalkTree(opened, deletion)) return status;
  return deletion.Remove(folder, name, AT_REMOVEDIR);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

}  // namespace tessary
