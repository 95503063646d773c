#include "platform/linux/changes/copy_metadata.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/remembered_dates.h"
#include "platform/linux/changes/copy_attributes.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// The errors that a filesystem without such metadata reports to the owner of an object.
bool IsUnsupported(int error) { return error == EPERM || error == ENOTSUP || error == ENOSYS; }

// Sets owner and group, or at least the group, if this process may; `*isSet` is whether both are
// right. An object that was created with them needs no call, unless the source has set-id bits: in
// a user namespace all unmapped owners have the same number, so that equal numbers do not prove
// that the bits would act for the same user.
Status SetOwner(const struct statx& info, const struct statx& made, int to, bool* isSet) {
  const bool isOwned = info.stx_uid == made.stx_uid && info.stx_gid == made.stx_gid;
  *isSet = isOwned && (info.stx_mode & (S_ISUID | S_ISGID)) == 0;
  if (*isSet) return noErr;
  *isSet = fchown(to, info.stx_uid, info.stx_gid) == 0;
  if (*isSet) return noErr;
  // EINVAL: an owner that is not mapped in this user namespace.
  if (!IsUnsupported(errno) && errno != EINVAL) return LastError();
  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  // Best effort: `*isSet` says already that the owner is not the source's.
  if (fchown(to, kSameOwner, info.stx_gid) != 0) return noErr;
  return noErr;
}

Status SetMode(mode_t mode, int to) {
  if (fchmod(to, mode) == 0 || IsUnsupported(errno)) return noErr;
  return LastError();
}

Status SetTimes(const struct statx& info, int to) {
  const std::array<timespec, 2> times = FileTimesOf(info);
  if (futimens(to, times.data()) == 0 || IsUnsupported(errno)) return noErr;
  return LastError();
}

// Remembers the modification date of the source if the target has another one, because its
// filesystem cannot hold it. FAT begins in 1980, ext4 with small inodes ends in 2038, and sshfs
// transfers 32 bits without a sign; every filesystem holds the dates in between.
void RememberUnstoredDate(const struct statx& info, int to, const struct statx& made) {
  constexpr int64_t kFirstSecond = 315'532'800;
  constexpr int64_t kLastSecond = INT32_MAX;
  constexpr int64_t kCoarsestUnit = 2;
  const int64_t seconds = info.stx_mtime.tv_sec;
  struct statx stored = {};
  if (seconds >= kFirstSecond && seconds <= kLastSecond) return;
  if (ReadObjectInfo(to, "", &stored) != noErr) return;
  if (std::abs(stored.stx_mtime.tv_sec - seconds) < kCoarsestUnit) return;
  RememberDate(made, DateAttribute::NSFileModificationDate, {seconds, info.stx_mtime.tv_nsec});
}

// Stores the creation date of the source: in the target filesystem's own format; else it is in an
// attribute that was copied; else in our attribute; else in this process's memory.
void StoreCreationDate(int from, const struct statx& info, const AttributesCopied& copied, int to,
                       const struct statx& made) {
  const std::optional<Timestamp> date =
      copied.creationDate ? copied.creationDate->date : CreationDateWithoutAttribute(from, info);
  if (!date || SetCreationDate(to, made, *date)) return;
  // An attribute with the date was copied. If one was dropped, it may be the one that has the best
  // rank, so that another would win in the copy; ours then states the date.
  if (copied.creationDate && !copied.isAnyDropped) return;
  const std::string text = FormatCreationDate(*date);
  if (text.empty()) return;
  // Best effort: an attribute that the source does not have must not make its copy fail. It may not
  // fit beside those that were copied (ENOSPC).
  if (fsetxattr(to, kCreationDateAttribute, text.data(), text.size(), 0) == 0) return;
  RememberDate(made, DateAttribute::NSFileCreationDate, *date);
}

}  // namespace

Status CopyMetadata(int from, const struct statx& info, int to, const struct statx& made,
                    CopyRole role, bool* isAnyDropped) {
  // The order is forced: a change of owner clears set-id bits and file capabilities; setting an
  // access ACL changes the mode; setting attributes needs write permission, which the final mode
  // may deny to the owner; and the times come last because the rest may update them.
  bool isOwnerSet = false;
  if (const Status status = SetOwner(info, made, to, &isOwnerSet)) return status;
  AttributesCopied copied;
  Status status = CopyAttributes(from, info.stx_mode, to, role == CopyRole::kCopiedItem, &copied);
  if (status != noErr) return status;
  if (role != CopyRole::kInnerItem) StoreCreationDate(from, info, copied, to, made);
  mode_t mode = info.stx_mode & 07777U;
  // Set-id bits must not grant the rights of an owner whom nobody gave them for.
  if (!isOwnerSet) mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  if (copied.groupMode) mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | *copied.groupMode;
  // With an ACL the mode in `made` is out of date.
  if (copied.hasAccessList || mode != (made.stx_mode & 07777U)) {
    status = SetMode(mode, to);
    if (status != noErr) return status;
  }
  *isAnyDropped |= copied.isAnyDropped;
  status = SetTimes(info, to);
  if (status == noErr && role != CopyRole::kInnerItem) RememberUnstoredDate(info, to, made);
  return status;
}

}  // namespace tessary
