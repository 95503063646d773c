#include "platform/linux/changes/copy_metadata.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/copy_attributes.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// What the owner of an object is told where its volume has no such thing.
bool IsUnsupported(int error) { return error == EPERM || error == ENOTSUP || error == ENOSYS; }

// Gives the owner, or at least the group, where this process may. An object that has them from its
// making is left alone; but where set-id bits hang on them looking is not enough, as all users that
// a namespace does not know look the same.
Status SetOwner(const struct statx& info, const struct statx& made, int to, bool* isSet) {
  const bool isOwned = info.stx_uid == made.stx_uid && info.stx_gid == made.stx_gid;
  *isSet = isOwned && (info.stx_mode & (S_ISUID | S_ISGID)) == 0;
  if (*isSet) return noErr;
  *isSet = fchown(to, info.stx_uid, info.stx_gid) == 0;
  if (*isSet) return noErr;
  // EINVAL: an owner that is unknown in this user namespace.
  if (!IsUnsupported(errno) && errno != EINVAL) return LastError();
  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  // A favour; the owner is the one who counts, and it is known already that it could not be given.
  if (fchown(to, kSameOwner, info.stx_gid) != 0) return noErr;
  return noErr;
}

Status SetMode(mode_t mode, int to) {
  if (fchmod(to, mode) == 0 || IsUnsupported(errno)) return noErr;
  return LastError();
}

Status SetTimes(const struct statx& info, int to) {
  const std::array<timespec, 2> times = {
      timespec{info.stx_atime.tv_sec, info.stx_atime.tv_nsec},
      timespec{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec},
  };
  if (futimens(to, times.data()) == 0 || IsUnsupported(errno)) return noErr;
  return LastError();
}

// The date of the original: in the form that the volume has of its own, else with an attribute that
// was copied, else in one of ours, else kept for this process.
Status StoreCreationDate(int from, const struct statx& info, const AttributesCopied& copied, int to,
                         const struct statx& made) {
  const std::optional<Timestamp> date =
      copied.creationDate ? copied.creationDate->date : CreationDateWithoutAttribute(from, info);
  if (!date || SetCreationDate(to, made, *date)) return noErr;
  // Of several attributes, the one that was dropped may be the one that counts.
  if (copied.creationDate && !copied.isAnyDropped) return noErr;
  const std::string text = FormatCreationDate(*date);
  if (text.empty()) return noErr;
  if (fsetxattr(to, kCreationDateAttribute, text.data(), text.size(), 0) == 0) return noErr;
  if (errno != ENOTSUP && errno != ENOSYS) return LastError();
  RememberCreationDate(made, *date);
  return noErr;
}

}  // namespace

Status CopyMetadata(int from, const struct statx& info, int to, const struct statx& made,
                    CopyRole role, bool* isAnyDropped) {
  bool isOwnerSet = false;
  if (const Status status = SetOwner(info, made, to, &isOwnerSet)) return status;
  AttributesCopied copied;
  Status status = CopyAttributes(from, info.stx_mode, to, role == CopyRole::kCopiedItem, &copied);
  if (status != noErr) return status;
  if (role != CopyRole::kInnerItem) {
    status = StoreCreationDate(from, info, copied, to, made);
    if (status != noErr) return status;
  }
  mode_t mode = info.stx_mode & 07777U;
  if (!isOwnerSet) mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  if (copied.groupMode) mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | *copied.groupMode;
  if (copied.hasAccessList || mode != (made.stx_mode & 07777U)) {
    status = SetMode(mode, to);
    if (status != noErr) return status;
  }
  *isAnyDropped |= copied.isAnyDropped;
  return SetTimes(info, to);
}

}  // namespace tessary
