#include "platform/linux/changes/object_info.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

Status Read(int folder, const char* name, int flags, struct statx* info) {
  constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID;
  struct statx found = {};
  if (statx(folder, name, kFlags | flags, kWanted, &found) != 0) return LastError();
  *info = found;
  return noErr;
}

}  // namespace

Status ReadObjectInfo(int folder, const char* name, struct statx* info) {
  return Read(folder, name, 0, info);
}

Status ReadLatestInfo(int file, const Identity& identity, struct statx* info) {
  if (VolumeOf(identity.device, file).hasCoherentAttributes) return Read(file, "", 0, info);
  // While FUSE waits for its driver to change the length, it reads zeros where that has cut
  // already. It looks for the end under the lock that the change holds, so that an end which is not
  // where the driver says so means that the change has begun in between. Kernel files have no end
  // to look for.
  constexpr int kTries = 4;
  struct statx found = {};
  for (int i = 0; i < kTries; ++i) {
    const off_t end = lseek(file, 0, SEEK_END);
    const Status status = Read(file, "", AT_STATX_FORCE_SYNC, &found);
    if (status != noErr) return status;
    if (end < 0 || static_cast<uint64_t>(end) == found.stx_size) break;
  }
  *info = found;
  return noErr;
}

bool IsNameOf(int folder, const char* name, const Identity& identity) {
  struct statx info = {};
  return ReadObjectInfo(folder, name, &info) == noErr && Identity::Of(info).Matches(identity);
}

bool IsUnchanged(const struct statx& before, const struct statx& after) {
  return IsUnchangedButForName(before, after) && IsSameTime(before.stx_ctime, after.stx_ctime);
}

bool IsUnchangedButForName(const struct statx& before, const struct statx& after) {
  return Identity::Of(before).Matches(Identity::Of(after)) && before.stx_mode == after.stx_mode &&
         before.stx_uid == after.stx_uid && before.stx_gid == after.stx_gid &&
         before.stx_size == after.stx_size && IsSameTime(before.stx_mtime, after.stx_mtime);
}

bool IsOnOtherMount(const struct statx& first, const struct statx& second) {
  if ((first.stx_mask & second.stx_mask & STATX_MNT_ID) != 0) {
    return first.stx_mnt_id != second.stx_mnt_id;
  }
  return Identity::Of(first).device != Identity::Of(second).device;
}

}  // namespace tessary
