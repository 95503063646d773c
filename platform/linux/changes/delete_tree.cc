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
  // Without a manifest, whatever is found is deleted.
  Deletion(const Manifest* manifest, bool* hasBegun) : manifest_(manifest), hasBegun_(hasBegun) {}

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    return IsExpected(name, info) ? Remove(folder, name, 0) : fBsyErr;
  }

  Status OpenFolder(int folder, const char* name, const struct statx& info,
                    UniqueFd* opened) override {
    const UniqueFd path(openat(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!path) return LastError();
    GrantOwnerAccess(path.get(), info);
    return TreeVisitor::OpenFolder(folder, name, info, opened);
  }

  Status EnterFolder(int /*folder*/, const char* name, const struct statx& info,
                     int /*opened*/) override {
    return IsExpected(name, info) ? noErr : fBsyErr;
  }

  Status LeaveFolder(int folder, const char* name, const struct statx& /*info*/,
                     int /*left*/) override {
    ++next_;
    return Remove(folder, name, AT_REMOVEDIR);
  }

  // Deletes the folder (`folder`, `name`), whose stat result is `info`, with everything in it.
  Status Run(int folder, const char* name, const struct statx& info) {
    UniqueFd top;
    if (const Status status = OpenFolder(folder, name, info, &top)) return status;
    if (!IsNameOf(top.get(), "", Identity::Of(info))) return fnfErr;
    if (const Status status = WalkTree(top.get(), *this)) return status;
    return Remove(folder, name, AT_REMOVEDIR);
  }

 private:
  // The walk is in the order of the manifest.
  bool IsExpected(const char* name, const struct statx& info) {
    return manifest_ == nullptr || manifest_->HasObjectAt(next_++, name, info);
  }

  Status Remove(int folder, const char* name, int flags) {
    if (unlinkat(folder, name, flags) != 0) return LastError();
    *hasBegun_ = true;
    return noErr;
  }

  const Manifest* manifest_;
  size_t next_ = 1;  // entry of the manifest; 0 is the top folder
  bool* hasBegun_;
};

}  // namespace

// Catches the exception here, because the caller needs `*hasBegun` also when memory runs out: it
// decides which of original and copy is the complete one.
Status DeleteTree(int folder, const char* name, int opened, bool* hasBegun) try {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(opened, "", &info)) return status;
  // The folder is opened again by its name: on mergerfs, one that was opened before it was renamed
  // lists as empty.
  return Deletion(nullptr, hasBegun).Run(folder, name, info);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status DeleteTreeIfUnchanged(int folder, const char* name, const Manifest& manifest,
                             bool* hasBegun) try {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder, name, &info)) return status;
  if (!manifest.HasObjectAt(0, ".", info)) return fBsyErr;
  return Deletion(&manifest, hasBegun).Run(folder, name, info);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

}  // namespace tessary
