#include "platform/linux/changes/object_info.h"

#include <fcntl.h>

#include "platform/linux/errors.h"

namespace tessary {

Status ReadObjectInfo(int folder, const char* name, struct statx* info) {
  constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID;
  struct statx found = {};
  if (statx(folder, name, kFlags, kWanted, &found) != 0) return LastError();
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
