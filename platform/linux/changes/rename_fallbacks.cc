#include "platform/linux/changes/rename_fallbacks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// EPERM: the filesystem has no hard links, or fs.protected_hardlinks forbids one to another user's
// file. Both leave the placeholder.
bool MeansNoLinks(int error) {
  return error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EMLINK;
}

// Some filesystems refuse a character of a name with EINVAL.
Status StatusOfNameError(int error) { return error == EINVAL ? bdNamErr : StatusFromErrno(error); }

// Opens the object without access to its contents. While it is open, the kernel keeps it in memory,
// so that its inode number does not change on any filesystem.
UniqueFd Pin(int folder, const char* name) {
  return UniqueFd(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

// Returns whether the name is that of the pinned object.
bool IsNameOfPinned(int folder, const char* name, const UniqueFd& pin) {
  struct statx named = {};
  struct statx pinned = {};
  return ReadObjectInfo(folder, name, &named) == noErr &&
         ReadObjectInfo(pin.get(), "", &pinned) == noErr &&
         Identity::Of(named).Equals(Identity::Of(pinned));
}

// An empty file or folder that reserves a name until an object is renamed onto it. Removed again if
// none is.
class Placeholder {
 public:
  Placeholder(int folder, const char* name, bool isFolder)
      : folder_(folder), name_(name), isFolder_(isFolder) {}
  Placeholder(const Placeholder&) = delete;
  Placeholder& operator=(const Placeholder&) = delete;

  ~Placeholder() {
    if (pin_ && IsStillOurs()) unlinkat(folder_, name_, isFolder_ ? AT_REMOVEDIR : 0);
  }

  Status Make() { return isFolder_ ? MakeFolder() : MakeFile(); }

  // Returns whether the placeholder still has the name. One that another program has written to is
  // that program's file now.
  bool IsStillOurs() const {
    struct statx info = {};
    return IsNameOfPinned(folder_, name_, pin_) && ReadObjectInfo(pin_.get(), "", &info) == noErr &&
           (isFolder_ || info.stx_size == 0);
  }

  // The object has been renamed onto the placeholder: nothing is left to remove.
  void Consume() { pin_.Reset(); }

 private:
  Status MakeFolder() {
    if (mkdirat(folder_, name_, 0700) != 0) return StatusOfNameError(errno);
    pin_ = Pin(folder_, name_);
    if (pin_) return noErr;
    const Status status = LastError();
    unlinkat(folder_, name_, AT_REMOVEDIR);
    return status;
  }

  // The file is pinned, not held open: libfuse keeps a file that is replaced while it is open, and
  // renames it to ".fuse_hidden...".
  Status MakeFile() {
    const UniqueFd file(
        openat(folder_, name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return StatusOfNameError(errno);
    pin_ = UniqueFd(open(ProcFdPath(file.get()).c_str(), O_PATH | O_CLOEXEC));
    if (pin_) return noErr;
    const Status status = LastError();
    if (IsNameOfPinned(folder_, name_, file)) unlinkat(folder_, name_, 0);
    return status;
  }

  int folder_;
  const char* name_;
  bool isFolder_;
  UniqueFd pin_;
};

// dupFNErr: the new name is that of a folder that is not empty, or of an object of the other kind.
Status RenameOntoFolderOrFile(int fromFolder, const char* fromName, int toFolder,
                              const char* toName) {
  if (renameat(fromFolder, fromName, toFolder, toName) == 0) return noErr;
  return errno == ENOTEMPTY || errno == EEXIST || errno == ENOTDIR ? dupFNErr : LastError();
}

// Without a placeholder: rclone would create it after the rename, in place of the file, and refuses
// to replace even an empty folder. The window between check and rename is that of the check of a
// placeholder.
Status RenameIfFree(int fromFolder, const char* fromName, int toFolder, const char* toName) {
  struct statx found = {};
  const Status status = ReadObjectInfo(toFolder, toName, &found);
  if (status == noErr) return dupFNErr;
  if (status != fnfErr) return status;
  return RenameOntoFolderOrFile(fromFolder, fromName, toFolder, toName);
}

}  // namespace

Status RenameByLink(int fromFolder, const char* fromName, int toFolder, const char* toName) {
  const UniqueFd source = Pin(fromFolder, fromName);
  if (!source) return LastError();
  if (linkat(fromFolder, fromName, toFolder, toName, 0) != 0) {
    return MeansNoLinks(errno) ? paramErr : StatusOfNameError(errno);
  }
  // Another program may have replaced the source before the link was made. Then, as by a rename,
  // the replacement gets the new name.
  const UniqueFd linked = Pin(toFolder, toName);
  if (!linked) return LastError();
  const auto hasOldName = [&] { return IsNameOfPinned(fromFolder, fromName, linked); };
  const auto hasNewName = [&] { return IsNameOfPinned(toFolder, toName, linked); };
  if (hasNewName() && hasOldName()) {
    if (unlinkat(fromFolder, fromName, 0) == 0) return noErr;
    const Status status = LastError();
    if (hasOldName()) {
      if (hasNewName()) unlinkat(toFolder, toName, 0);
      return status;
    }
  }
  // Another program has changed one of the names. If the source still has the old one, it has lost
  // the new one. Otherwise the new name is the object's only one and stays: the rename is complete.
  return IsNameOfPinned(fromFolder, fromName, source) ? dupFNErr : noErr;
}

std::optional<bool> ProbeHardLinks(int folder, const char* name) {
  struct statx source = {};
  std::string probeName;
  if (ReadObjectInfo(folder, name, &source) != noErr) return std::nullopt;
  if (!S_ISREG(source.stx_mode)) {
    // If this process is killed, the next run cleans up the probe. It does so only for files, so a
    // symbolic link or special file is not probed itself.
    TempItem file;
    if (TempItem::MakeTempFile(folder, &file) != noErr) return std::nullopt;
    return ProbeHardLinks(folder, file.name().c_str());
  }
  if (MakeTempName(&probeName) != noErr) return std::nullopt;
  if (linkat(folder, name, folder, probeName.c_str(), 0) != 0) return std::nullopt;
  const UniqueFd pin = Pin(folder, name);
  const bool isReliable = pin && IsNameOfPinned(folder, probeName.c_str(), pin);
  // If it cannot be removed, a later run cleans it up.
  (void)unlinkat(folder, probeName.c_str(), 0);
  return isReliable;
}

Status RenameOntoPlaceholder(int fromFolder, const char* fromName, int toFolder,
                             const char* toName) {
  struct statx source = {};
  if (const Status status = ReadObjectInfo(fromFolder, fromName, &source)) return status;
  if (VolumeOf(Identity::Of(source).device, toFolder).createsFilesWhenClosed) {
    return RenameIfFree(fromFolder, fromName, toFolder, toName);
  }
  Placeholder placeholder(toFolder, toName, S_ISDIR(source.stx_mode));
  if (const Status status = placeholder.Make()) return status;
  // rename(2) replaces whatever has the name, except a folder that is not empty. So the placeholder
  // is checked as late as possible; a window of one system call remains for files.
  if (!placeholder.IsStillOurs()) return dupFNErr;
  const Status status = RenameOntoFolderOrFile(fromFolder, fromName, toFolder, toName);
  if (status == noErr) placeholder.Consume();
  return status;
}

bool LiesWithin(int folder, int parent, const char* name) {
  struct statx wanted = {};
  struct statx info = {};
  if (ReadObjectInfo(parent, name, &wanted) != noErr || !S_ISDIR(wanted.stx_mode)) return false;
  // Follows "..", not a path, so that a rename of a folder above cannot mislead it. ".." of the
  // root of a mount leads to the folder that it is mounted in.
  UniqueFd held;
  int current = folder;
  Identity last;
  while (true) {
    if (ReadObjectInfo(current, "", &info) != noErr) return false;
    if (Identity::Of(info).Equals(Identity::Of(wanted))) return true;
    if (Identity::Of(info).Equals(last)) return false;  // "/" is its own parent
    last = Identity::Of(info);
    UniqueFd next(openat(current, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!next) return false;
    held = std::move(next);
    current = held.get();
  }
}

}  // namespace tessary
