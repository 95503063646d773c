#include "platform/linux/changes/copy_link.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/publish.h"
#include "platform/linux/changes/volume_memory.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

Status ReadLink(int folder, const char* name, const struct statx& info, std::string* text) {
  const UniqueFd link(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  if (!IsNameOf(link.get(), "", Identity::Of(info))) return fnfErr;
  // The size that a link reports is not to be relied upon; PATH_MAX bounds it.
  std::array<char, 4096> buffer = {};
  const ssize_t size = readlinkat(link.get(), "", buffer.data(), buffer.size());
  if (size < 0) return LastError();
  text->assign(buffer.data(), static_cast<size_t>(size));
  return noErr;
}

// Whether setting the dates of a link that leads nowhere does not say that there is nothing.
bool IsTrialLinkItsOwn(int folder) {
  std::string name;
  if (MakeHiddenName(&name) != noErr) return false;
  if (symlinkat((name + "-nowhere").c_str(), folder, name.c_str()) != 0) return false;
  const bool isFollowed =
      utimensat(folder, name.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
  unlinkat(folder, name.c_str(), 0);
  return !isFollowed;
}

// Some FUSE volumes follow a link whatever they are told, and would give its dates and owner to
// what it leads to, wherever that is. Tried once for each volume, in our own folder open as
// `folder`.
bool AreLinksTheirOwn(uint32_t device, int folder) {
  if (IsKnownToLack(device, VolumeLack::kUntriedLinks)) {
    return !IsKnownToLack(device, VolumeLack::kLinksOfTheirOwn);
  }
  const bool isOwn = IsTrialLinkItsOwn(folder);
  if (!isOwn) RememberLack(device, VolumeLack::kLinksOfTheirOwn);
  RememberLack(device, VolumeLack::kUntriedLinks);
  return isOwn;
}

Status GiveOwnerAndDates(const struct statx& info, int folder, const char* name) {
  if (fchownat(folder, name, info.stx_uid, info.stx_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
      errno != EPERM && errno != EINVAL && errno != ENOTSUP) {
    return LastError();
  }
  const std::array<timespec, 2> times = {
      timespec{info.stx_atime.tv_sec, info.stx_atime.tv_nsec},
      timespec{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec},
  };
  if (utimensat(folder, name, times.data(), AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOTSUP) {
    return LastError();
  }
  return noErr;
}

}  // namespace

Status RecreateLink(int folder, const char* name, const struct statx& info, int toFolder,
                    const char* toName) {
  std::string text;
  struct statx made = {};
  if (const Status status = ReadLink(folder, name, info, &text)) return status;
  if (symlinkat(text.c_str(), toFolder, toName) != 0) return LastError();
  if (const Status status = ReadObjectInfo(toFolder, toName, &made)) return status;
  if (!AreLinksTheirOwn(Identity::Of(made).device, toFolder)) return noErr;
  return GiveOwnerAndDates(info, toFolder, toName);
}

Status CopyLink(int folder, const char* name, const struct statx& info, int toFolder,
                const char* toName, HiddenItem* made) {
  constexpr char kNameInside[] = "link";
  HiddenItem box;
  if (const Status status = HiddenItem::MakeHiddenFolder(toFolder, &box)) return status;
  struct statx ours = {};
  Status status = RecreateLink(folder, name, info, box.fd(), kNameInside);
  if (status == noErr) status = ReadObjectInfo(box.fd(), kNameInside, &ours);
  if (status == noErr) status = RenameWithoutReplacing(box.fd(), kNameInside, toFolder, toName);
  if (status != noErr) return status;
  // Opened by its new name: what was open under another one is lost on a FUSE volume that renames
  // by linking.
  UniqueFd link(openat(toFolder, toName, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  if (!IsNameOf(link.get(), "", Identity::Of(ours))) return fnfErr;
  *made = HiddenItem::Published(toFolder, toName, std::move(link));
  return noErr;
}

}  // namespace tessary
