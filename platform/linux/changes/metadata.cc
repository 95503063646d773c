#include "platform/linux/changes/metadata.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/attributes.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// What the owner of an object is told where its volume has no such thing.
bool IsBeyondVolume(int error) { return error == EPERM || error == ENOTSUP || error == ENOSYS; }

// Gives the owner, or at least the group, where this process may. An object that has them from its
// making is left alone; but where set-id bits hang on them looking is not enough, as all users that
// a namespace does not know look the same.
Status GiveOwner(const struct statx& info, const struct statx& made, int to, bool* isGiven) {
  const bool isOwned = info.stx_uid == made.stx_uid && info.stx_gid == made.stx_gid;
  *isGiven = isOwned && (info.stx_mode & (S_ISUID | S_ISGID)) == 0;
  if (*isGiven) return noErr;
  *isGiven = fchown(to, info.stx_uid, info.stx_gid) == 0;
  if (*isGiven) return noErr;
  // EINVAL: an owner that is unknown in this user namespace.
  if (!IsBeyondVolume(errno) && errno != EINVAL) return LastError();
  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  // A favour; the owner is the one who counts, and it is known already that it could not be given.
  if (fchown(to, kSameOwner, info.stx_gid) != 0) return noErr;
  return noErr;
}

Status GiveMode(mode_t mode, int to) {
  if (fchmod(to, mode) == 0 || IsBeyondVolume(errno)) return noErr;
  return LastError();
}

Status GiveTimes(const struct statx& info, int to) {
  const std::array<timespec, 2> times = {
      timespec{info.stx_atime.tv_sec, info.stx_atime.tv_nsec},
      timespec{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec},
  };
  if (futimens(to, times.data()) == 0 || IsBeyondVolume(errno)) return noErr;
  return LastError();
}

Status GiveCreationDate(const struct statx& info, int to, bool* isRefused) {
  const std::optional<Timestamp> date = CreationDateWithoutAttribute(info);
  if (!date) return noErr;
  const std::string text = FormatCreationDate(*date);
  if (text.empty()) return noErr;
  if (fsetxattr(to, kCreationDateAttribute, text.data(), text.size(), 0) == 0) return noErr;
  *isRefused = errno == ENOTSUP || errno == ENOSYS;
  return *isRefused ? noErr : LastError();
}

// The date that `from` carries as an attribute, else its own, kept for this process.
void RememberDate(int from, const struct statx& info, const struct statx& made) {
  std::array<char, 64> text = {};
  std::optional<Timestamp> date = CreationDateWithoutAttribute(info);
  const ssize_t size = fgetxattr(from, kCreationDateAttribute, text.data(), text.size());
  if (size > 0) {
    const std::optional<Timestamp> carried =
        ParseCreationDate({text.data(), static_cast<size_t>(size)});
    if (carried) date = carried;
  }
  if (date) RememberCreationDate(made, *date);
}

}  // namespace

Status CopyMetadata(int from, const struct statx& info, int to, CopyRole role, bool* isAnyDropped) {
  struct statx made = {};
  bool isOwnerGiven = false;
  if (const Status status = ReadObjectInfo(to, "", &made)) return status;
  if (const Status status = GiveOwner(info, made, to, &isOwnerGiven)) return status;
  AttributesCopied copied;
  Status status = CopyAttributes(from, info.stx_mode, to, role == CopyRole::kCopiedItem, &copied);
  if (status != noErr) return status;
  if (role != CopyRole::kInnerItem) {
    bool isRefused = copied.isAnyDropped;
    if (!copied.hasCreationDate) status = GiveCreationDate(info, to, &isRefused);
    if (status == noErr && isRefused) RememberDate(from, info, made);
    if (status != noErr) return status;
  }
  mode_t mode = info.stx_mode & 07777U;
  if (!isOwnerGiven) mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  if (copied.groupMode) mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | *copied.groupMode;
  if (copied.hasAccessList || mode != (made.stx_mode & 07777U)) {
    status = GiveMode(mode, to);
    if (status != noErr) return status;
  }
  *isAnyDropped |= copied.isAnyDropped;
  return GiveTimes(info, to);
}

}  // namespace tessary
