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

// Reads the text of the link, through a descriptor, so that it is that of the link in `info` and
// not of one that has replaced it.
Status ReadLink(int folder, const char* name, const struct statx& info, std::string* text) {
  const UniqueFd link(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  if (!IsNameOf(link.get(), "", Identity::Of(info))) return fnfErr;
  // Not st_size, which some filesystems report as 0; PATH_MAX is the longest text.
  std::array<char, 4096> buffer = {};
  const ssize_t size = readlinkat(link.get(), "", buffer.data(), buffer.size());
  if (size < 0) return LastError();
  text->assign(buffer.data(), static_cast<size_t>(size));
  return noErr;
}

// Sets the times of a dangling link of our own. ENOENT shows that the filesystem followed it.
Status ProbeLinkMetadata(int folder, bool* hasMetadata) {
  std::string name;
  if (const Status status = MakeTempName(&name)) return status;
  if (symlinkat((name + "-nowhere").c_str(), folder, name.c_str()) != 0) return LastError();
  *hasMetadata =
      utimensat(folder, name.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
  return unlinkat(folder, name.c_str(), 0) == 0 ? noErr : LastError();
}

// Some FUSE filesystems follow a link despite AT_SYMLINK_NOFOLLOW, and would change times and owner
// of the link's target, wherever that is. Probed once per filesystem, in `folder`, which is ours.
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
  // Best effort, like the owner of a file: links have no set-id bits that could depend on it.
  if (fchownat(folder, name, info.stx_uid, info.stx_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
      errno != EPERM && errno != EINVAL && errno != ENOTSUP) {
    return LastError();
  }
  const std::array<timespec, 2> times = FileTimesOf(info);
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

// A link cannot be created with its metadata in one step, and it cannot be locked (flock needs a
// file opened for reading, O_PATH does not do), so that a cleanup by another process would delete
// one with a temporary name. So it is made inside a locked temporary folder and renamed out of it.
Status CopyLink(int folder, const char* name, int toFolder, const char* toName,
                CopiedItem* copied) {
  constexpr char kNameInside[] = "link";
  TempItem box;
  if (const Status status = TempItem::MakeTempFolder(toFolder, &box)) return status;
  struct statx ours = {};
  Status status = RecreateLink(folder, name, copied->source, box.fd(), kNameInside);
  if (status == noErr) status = ReadObjectInfo(box.fd(), kNameInside, &ours);
  if (status != noErr) return status;
  UniqueFd link(openat(box.fd(), kNameInside, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  status = RenameWithoutReplacing(box.fd(), kNameInside, toFolder, toName);
  if (status != noErr) return status;
  // The descriptor from before the rename is stale on a FUSE filesystem where the rename was done
  // by a hard link, so the link is opened again by its new name. If that or the stat fails, the old
  // descriptor is kept: without one, the copy could not be rolled back.
  UniqueFd renamed(openat(toFolder, toName, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct statx found = {};
  if (renamed && ReadObjectInfo(renamed.get(), "", &found) == noErr) {
    // Another program has replaced the copy, which then is not ours to remove.
    if (!Identity::Of(found).Matches(Identity::Of(ours))) return fnfErr;
    link = std::move(renamed);
  }
  copied->item = TempItem::AdoptPublished(toFolder, toName, std::move(link));
  return noErr;
}

}  // namespace tessary
