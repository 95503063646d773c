#include "platform/linux/configuration/file_replacement.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <vector>

#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr int kMaxLinks = 40;

// Five seconds in all. A replacement holds the lock for about the time of one fsync.
constexpr timespec kLockPause = {0, 5000000};
constexpr int kMaxLockAttempts = 1000;

// Resolves the symbolic links at an absolute path. The target may be missing.
Status FollowLinks(std::string path, std::string* target) {
  for (int links = 0; links <= kMaxLinks; ++links) {
    std::array<char, PATH_MAX> text;
    const ssize_t size = readlink(path.c_str(), text.data(), text.size());
    if (size < 0 && errno != EINVAL && errno != ENOENT) return LastError();
    if (size <= 0) {
      *target = path;
      return noErr;
    }
    const std::string_view linked(text.data(), static_cast<size_t>(size));
    // realpath() fails if the target is missing, but a file that a user links into another folder
    // is first written there.
    if (linked.front() == '/') path.clear();
    path.erase(path.rfind('/') + 1);
    path += linked;
  }
  return ioErr;
}

Status WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return LastError();
    text.remove_prefix(static_cast<size_t>(written));
  }
  return noErr;
}

// Security labels are not copied: the kernel labels each new file itself.
bool IsCopiedAttribute(const std::string& attribute) {
  return attribute.rfind("user.", 0) == 0 || attribute == "system.posix_acl_access";
}

Status CopyAttribute(const char* from, int to, const char* name) {
  const ssize_t size = lgetxattr(from, name, nullptr, 0);
  if (size < 0) return LastError();
  std::vector<char> value(static_cast<size_t>(size));
  const ssize_t got = lgetxattr(from, name, value.data(), value.size());
  if (got < 0) return LastError();
  return fsetxattr(to, name, value.data(), static_cast<size_t>(got), 0) == 0 ? noErr : LastError();
}

Status CopyAttributes(const char* from, int to) {
  const ssize_t size = llistxattr(from, nullptr, 0);
  if (size < 0) return errno == ENOTSUP ? noErr : LastError();
  std::vector<char> names(static_cast<size_t>(size));
  const ssize_t got = llistxattr(from, names.data(), names.size());
  if (got < 0) return LastError();
  const char* const end = names.data() + got;
  for (const char* name = names.data(); name < end; name += std::strlen(name) + 1) {
    if (!IsCopiedAttribute(name)) continue;
    const Status status = CopyAttribute(from, to, name);
    if (status != noErr) return status;
  }
  return noErr;
}

}  // namespace

FileReplacement::~FileReplacement() {
  // If this fails, the next writer reuses the file.
  if (newFile_) (void)unlinkat(folder_.get(), newName_.c_str(), 0);
}

Status FileReplacement::Begin(const std::string& path) {
  Status status = FollowLinks(path, &target_);
  if (status != noErr) return status;
  const size_t nameAt = target_.rfind('/') + 1;
  name_ = target_.substr(nameAt);
  newName_ = "." + name_ + ".new";
  folder_.Reset(open(target_.substr(0, nameAt).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder_) return LastError();

  struct stat info = {};
  if (fstatat(folder_.get(), name_.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
    if (!S_ISREG(info.st_mode)) return paramErr;
    // A rename needs write permission for the folder only, so the permission for the file is
    // checked here.
    if (faccessat(folder_.get(), name_.c_str(), W_OK, AT_EACCESS) != 0) return LastError();
  } else if (errno != ENOENT) {
    return LastError();
  }
  return Lock();
}

Status FileReplacement::Lock() {
  bool isHeld = false;
  for (int tries = 0; tries < kMaxLockAttempts; ++tries) {
    const Status status = TryLock(&isHeld);
    if (status != noErr || isHeld) return status;
    // A signal only shortens the pause.
    (void)nanosleep(&kLockPause, nullptr);
  }
  return fBsyErr;
}

Status FileReplacement::TryLock(bool* isHeld) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  UniqueFd file(openat(folder_.get(), newName_.c_str(), kFlags, 0600));
  if (!file) return LastError();
  // A fixed name with a lock on it, rather than a random name: a crashed writer leaves one file at
  // most, which the next writer uses, and two writers cannot lose each other's change.
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK || errno == EINTR ? noErr : LastError();
  }
  // Between open and flock, the previous holder may have renamed the file onto the target or
  // removed it. The lock is valid only if the name still refers to the locked file.
  struct stat locked = {};
  struct stat named = {};
  if (fstat(file.get(), &locked) != 0) return LastError();
  if (fstatat(folder_.get(), newName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? noErr : LastError();
  }
  if (locked.st_dev != named.st_dev || locked.st_ino != named.st_ino) return noErr;
  newFile_ = std::move(file);
  *isHeld = true;
  return noErr;
}

Status FileReplacement::Commit(const std::string& text, const std::optional<FileStamp>& expected) {
  if (!newFile_) return paramErr;
  Status status = WriteContents(text);
  if (status != noErr) return status;
  // Before the rename: after a system crash the name refers to the old file or to all of the new
  // one.
  if (fsync(newFile_.get()) != 0) return LastError();
  // Editors do not take the lock. No system call replaces a file only if it is unchanged, so the
  // check comes last, to keep the window before the rename short.
  if (!IsTargetUnchanged(expected)) return fBsyErr;
  if (renameat(folder_.get(), newName_.c_str(), folder_.get(), name_.c_str()) != 0) {
    return LastError();
  }
  newFile_.Reset();
  return noErr;
}

Status FileReplacement::WriteContents(const std::string& text) {
  if (ftruncate(newFile_.get(), 0) != 0 || lseek(newFile_.get(), 0, SEEK_SET) != 0) {
    return LastError();
  }
  const Status status = WriteAll(newFile_.get(), text);
  return status != noErr ? status : CopyTargetMetadata();
}

Status FileReplacement::CopyTargetMetadata() {
  struct stat info = {};
  if (fstatat(folder_.get(), name_.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT) return LastError();
    return fchmod(newFile_.get(), 0600) == 0 ? noErr : LastError();
  }
  // The file has been private (0600) so far and gets its mode last, so nobody can read the text who
  // could not read the original. Only root may change the owner. Other users may set the group to
  // one of their own groups.
  if (fchown(newFile_.get(), info.st_uid, info.st_gid) != 0) {
    [[maybe_unused]] const int failure =
        fchown(newFile_.get(), static_cast<uid_t>(-1), info.st_gid);
  }
  const Status status = CopyAttributes(target_.c_str(), newFile_.get());
  if (status != noErr) return status;
  // Last, because fchown may clear mode bits, and an access list changes the mode.
  return fchmod(newFile_.get(), info.st_mode & 07777) == 0 ? noErr : LastError();
}

bool FileReplacement::IsTargetUnchanged(const std::optional<FileStamp>& expected) const {
  FileStamp stamp;
  const Status status = ReadFileStamp(target_.c_str(), &stamp);
  return expected ? status == noErr && stamp == *expected : status == fnfErr;
}

}  // namespace tessary
