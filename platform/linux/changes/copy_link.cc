#include "platform/linux/changes/copy_link.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/publish.h"
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

}  // namespace

Status RecreateLink(int folder, const char* name, const struct statx& info, int toFolder,
                    const char* toName) {
  std::string text;
  if (const Status status = ReadLink(folder, name, info, &text)) return status;
  if (symlinkat(text.c_str(), toFolder, toName) != 0) return LastError();
  if (fchownat(toFolder, toName, info.stx_uid, info.stx_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
      errno != EPERM && errno != EINVAL && errno != ENOTSUP) {
    return LastError();
  }
  const std::array<timespec, 2> times = {
      timespec{info.stx_atime.tv_sec, info.stx_atime.tv_nsec},
      timespec{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec},
  };
  if (utimensat(toFolder, toName, times.data(), AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOTSUP) {
    return LastError();
  }
  return noErr;
}

Status CopyLink(int folder, const char* name, const struct statx& info, int toFolder,
                const char* toName, HiddenItem* made) {
  constexpr char kNameInside[] = "link";
  HiddenItem box;
  if (const Status status = HiddenItem::MakeHiddenFolder(toFolder, &box)) return status;
  Status status = RecreateLink(folder, name, info, box.fd(), kNameInside);
  if (status != noErr) return status;
  UniqueFd link(openat(box.fd(), kNameInside, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return LastError();
  status = RenameWithoutReplacing(box.fd(), kNameInside, toFolder, toName);
  if (status == noErr) *made = HiddenItem::Published(toFolder, toName, std::move(link));
  return status;
}

}  // namespace tessary
