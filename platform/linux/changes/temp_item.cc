#include "platform/linux/changes/temp_item.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <utility>

#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/late_creation.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/errors.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

UniqueFd MakeObject(int folder, const char* name, bool isFolder) {
  constexpr int kFlags = O_NOFOLLOW | O_CLOEXEC;
  if (!isFolder) return UniqueFd(openat(folder, name, O_RDWR | O_CREAT | O_EXCL | kFlags, 0600));
  if (mkdirat(folder, name, 0700) != 0) return UniqueFd();
  UniqueFd opened(openat(folder, name, O_RDONLY | O_DIRECTORY | kFlags));
  if (opened) {
    // An inherited ACL may have taken away the owner's permissions. Fails harmlessly on a
    // filesystem without modes.
    (void)fchmod(opened.get(), 0700);
    return opened;
  }
  const int error = errno;
  unlinkat(folder, name, AT_REMOVEDIR);
  errno = error;
  return UniqueFd();
}

// The errors of openat on a kernel or filesystem without O_TMPFILE.
bool MeansNoTmpfile(int error) {
  return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOSYS ||
         error == ENOENT;
}

}  // namespace

Status MakeTempName(std::string* name) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid) return ioErr;
  *name = std::string(kTempPrefix) + *uuid;
  return noErr;
}

Status TryFileLock(int object) {
  while (flock(object, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    return errno == EWOULDBLOCK ? fBsyErr : paramErr;
  }
  return noErr;
}

TempItem& TempItem::operator=(TempItem&& other) noexcept {
  if (this == &other) return *this;
  Remove();
  folder_ = std::exchange(other.folder_, -1);
  opened_ = std::move(other.opened_);
  tempName_ = std::exchange(other.tempName_, {});
  publishedName_ = std::exchange(other.publishedName_, {});
  isFolder_ = other.isFolder_;
  isKept_ = other.isKept_;
  return *this;
}

TempItem::~TempItem() { Remove(); }

Status TempItem::MakeAnonymousFile(int folder, mode_t mode, TempItem* item) {
  constexpr mode_t kPermissions = 0777;
  constexpr mode_t kOwnerAccess = 0600;
  TempItem made;
  made.folder_ = folder;
  made.opened_ = UniqueFd(
      openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, (mode & kPermissions) | kOwnerAccess));
  if (!made.opened_) return MeansNoTmpfile(errno) ? paramErr : LastError();
  *item = std::move(made);
  return noErr;
}

// fBsyErr: another process found the item between its creation and its locking, and deletes it as
// stale.
Status TempItem::TryMakeWithTempName(int folder, bool isFolder, TempItem* item) {
  TempItem made;
  made.folder_ = folder;
  made.isFolder_ = isFolder;
  std::string name;
  if (const Status status = MakeTempName(&name)) return status;
  made.opened_ = MakeObject(folder, name.c_str(), isFolder);
  if (!made.opened_) return LastError();
  made.tempName_ = std::move(name);
  // paramErr does no harm: without locks nobody deletes stale items either, which takes the lock.
  const Status status = TryFileLock(made.fd());
  if (status == fBsyErr || !made.IsOurs(made.tempName_)) return fBsyErr;
  *item = std::move(made);
  return noErr;
}

Status TempItem::MakeWithTempName(int folder, bool isFolder, TempItem* item) {
  constexpr int kTries = 8;
  Status status = fBsyErr;
  for (int i = 0; i < kTries && (status == fBsyErr || status == fnfErr); ++i) {
    status = TryMakeWithTempName(folder, isFolder, item);
  }
  return status;
}

Status TempItem::MakeTempFile(int folder, TempItem* item) {
  return MakeWithTempName(folder, false, item);
}

Status TempItem::MakeTempFolder(int folder, TempItem* item) {
  return MakeWithTempName(folder, true, item);
}

Status TempItem::StageForDeletion(int folder, const char* name, UniqueFd opened, TempItem* item) {
  TempItem staged;
  staged.isKept_ = true;
  staged.isFolder_ = true;
  staged.folder_ = folder;
  staged.opened_ = std::move(opened);
  // Locked before it is renamed, so that no process finds it under a temporary name with a free
  // lock.
  if (TryFileLock(staged.fd()) == fBsyErr) return fBsyErr;
  std::string tempName;
  if (const Status status = MakeTempName(&tempName)) return status;
  if (const Status status = staged.RenameToTempName(name, tempName)) return status;
  staged.tempName_ = std::move(tempName);
  *item = std::move(staged);
  return noErr;
}

Status TempItem::Publish(const char* name) {
  // Copied first: running out of memory after the rename would leave a published object unknown.
  std::string published = name;
  const Status status = tempName_.empty()
                            ? LinkOpenFile(fd(), folder_, name)
                            : RenameWithoutReplacing(folder_, tempName_.c_str(), folder_, name);
  if (status == noErr) publishedName_ = std::move(published);
  return status;
}

bool TempItem::IsStillNamed() const {
  // Some FUSE filesystems report a wrong link count for a file that got its name by linkat.
  if (IsOurs(publishedName_)) return true;
  struct statx info = {};
  return ReadObjectInfo(fd(), "", &info) == noErr && info.stx_nlink > 0;
}

bool TempItem::IsOurs(const std::string& name) const {
  struct statx info = {};
  if (ReadObjectInfo(fd(), "", &info) != noErr) return false;
  return IsNameOf(folder_, name.c_str(), Identity::Of(info));
}

// Renames the object from `name` to the temporary name. fnfErr if another object has the name.
Status TempItem::RenameToTempName(const char* name, const std::string& tempName) {
  if (!IsOurs(name)) return fnfErr;
  const Status status = RenameWithoutReplacing(folder_, name, folder_, tempName.c_str());
  if (status != noErr) return status;
  if (IsOurs(tempName)) return noErr;
  // Another object took the name between the check and the rename. It gets its name back or, if
  // that exists by now, a visible name, under which it is not deleted as stale.
  if (RenameWithoutReplacing(folder_, tempName.c_str(), folder_, name) != noErr) {
    (void)RenameWithoutReplacing(folder_, tempName.c_str(), folder_, tempName.c_str() + 1);
  }
  return fnfErr;
}

// Removes what is still ours. What cannot be removed is stale from now on and deleted by a later
// run, so that nothing is reported.
void TempItem::Remove() try {
  if (!opened_ || isKept_) return;
  const bool isPublished = !publishedName_.empty();
  if (isFolder_) {
    // Renamed first, so that nobody sees the published folder half deleted.
    if (isPublished && RenameToTempName(publishedName_.c_str(), tempName_) != noErr) return;
    bool hasBegun = false;
    // What is left is stale.
    if (IsOurs(tempName_)) (void)DeleteTree(folder_, tempName_.c_str(), fd(), &hasBegun);
    return;
  }
  if (!isPublished) {
    if (tempName_.empty() || !IsOurs(tempName_)) return;
    // Closed first: libfuse renames a file that is open instead of removing it, which fails on a
    // full disk, and rclone creates one again when it is closed.
    (void)CreateLateFileNow(fd());
    opened_.Reset();
    unlinkat(folder_, tempName_.c_str(), 0);
    return;
  }
  struct statx ours = {};
  if (ReadObjectInfo(fd(), "", &ours) != noErr || !IsOurs(publishedName_)) return;
  if (CreateLateFileNow(fd())) opened_.Reset();
  bool isDisplaced = false;
  // What cannot be removed stays under its published name.
  (void)RemoveIfUnchanged(
      folder_, publishedName_.c_str(),
      [&ours](const struct statx& staged) {
        return Identity::Of(staged).Matches(Identity::Of(ours));
      },
      &isDisplaced);
} catch (const std::bad_alloc&) {
  // Out of memory. A temporary item is stale from now on; a published one stays.
}

}  // namespace tessary
