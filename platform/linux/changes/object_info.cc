#include "platform/linux/changes/object_info.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

Status Read(int folder, const char* name, int flags, struct statx* info) {
  // Without AT_NO_AUTOMOUNT, a stat of an automount point would mount it.
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
  // When a file on FUSE is truncated, the daemon truncates it first and the kernel learns the new
  // size afterwards; in between, reads return zeros up to the old end. lseek(SEEK_END) takes the
  // inode lock that the truncation holds, so it waits for one in progress. If the daemon then
  // reports another size than the kernel's end, another truncation has begun in between: try again.
  // Files of the kernel (procfs, sysfs) have no end to seek to.
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
  return Identity::Of(before).Matches(Identity::Of(after)) && HasSameAttributes(before, after);
}

bool HasSameAttributes(const struct statx& before, const struct statx& after) {
  return before.stx_mode == after.stx_mode && before.stx_uid == after.stx_uid &&
         before.stx_gid == after.stx_gid && before.stx_size == after.stx_size &&
         IsSameTime(before.stx_mtime, after.stx_mtime);
}

std::array<timespec, 2> FileTimesOf(const struct statx& info) {
  return {timespec{info.stx_atime.tv_sec, info.stx_atime.tv_nsec},
          timespec{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec}};
}

bool IsOnOtherMount(const struct statx& first, const struct statx& second) {
  // The mount ID also distinguishes a bind mount, which has the device of the folder around it.
  if ((first.stx_mask & second.stx_mask & STATX_MNT_ID) != 0) {
    return first.stx_mnt_id != second.stx_mnt_id;
  }
  return Identity::Of(first).device != Identity::Of(second).device;
}

}  // namespace tessary
