#include "platform/linux/changes/copy_link.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
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

// `*hasMetadata` is whether the dates of a link that leads nowhere can be set. One that is followed
// says that there is nothing.
Status ProbeLinkMetadata(int folder, bool* hasMetadata) {
  std::string name;
  if (const Status status = MakeTempName(&name)) return status;
  if (symlinkat((name + "-nowhere").c_str(), folder, name.c_str()) != 0) return LastError();
  *hasMetadata =
      utimensat(folder, name.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
  return unlinkat(folder, name.c_str(), 0) == 0 ? noErr : LastError();
}

// Some FUSE volumes follow a link whatever they are told, and would give its dates and owner to
// what it leads to, wherever that is. Tried once for each volume, in our own folder open as
// `folder`.
Status FindLinkMetadataSupport(uint32_t device, int folder, bool* hasMetadata) {
  if (!HasProbeResult(device, ProbeResult::kLinkMetadataProbed)) {
    bool isSupported = false;
    if (const Status status = ProbeLinkMetadata(folder, &isSupported)) return status;
    if (!isSupported) RememberProbeResult(device, ProbeResult::kNoLinkMetadata);
    RememberProbeResult(device, ProbeResult::kLinkMetadataProbed);
  }
  *hasMetadata = !HasProbeResult(device, ProbeResult::kNoLinkMetadata);
  return noErr;
}

Status SetOwnerAndDates(const struct statx& info, int folder, const char* name) {
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
  bool hasMetadata = false;
  const uint32_t device = Identity::Of(made).device;
  if (const Status status = FindLinkMetadataSupport(device, toFolder, &hasMetadata)) return status;
  return hasMetadata ? SetOwnerAndDates(info, toFolder, toName) : noErr;
}

Status CopyLink(int folder, const char* name, const struct statx& info, int toFolder,
                const char* toName, TempItem* made) {
  constexpr char kNameInside[] = "link";
  TempItem box;
  if (const Status status = TempItem::MakeTempFolder(toFolder, &box)) return status;
  struct statx ours = {};
  Status status = RecreateLink(folder, name, info, box.fd(), kNameInside);
  if (status == noErr) status = ReadObjectInfo(box.fd(), kNameInside, &ours);
  if (status != noErr) return status;
  UniqueFd link(openat(box.fd(), kNameInside, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  status = RenameWithoutReplacing(box.fd(), kNameInside, toFolder, toName);
  if (status != noErr) return status;
  // Opened by its new name if it can be, and be looked at: what was open under another one is lost
  // on a FUSE volume that renames by linking.
  UniqueFd renamed(openat(toFolder, toName, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct statx found = {};
  if (renamed && ReadObjectInfo(renamed.get(), "", &found) == noErr) {
    if (!Identity::Of(found).Matches(Identity::Of(ours))) return fnfErr;
    link = std::move(renamed);
  }
  *made = TempItem::AdoptPublished(toFolder, toName, std::move(link));
  return noErr;
}

}  // namespace tessary
