#include "platform/linux/changes/prepared_copy.h"

#include <sys/stat.h>

#include <ctime>
#include <new>
#include <utility>

#include "platform/linux/changes/copy_file.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {
namespace {

int64_t CoarseMilliseconds() {
  timespec now = {};
  (void)clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// Returns true if every change after `now`, the time of the clock that the kernel stamps changes
// with, gives the file another change time than `changed`. A file that has just been changed could
// be changed again within the same tick of that clock. A filesystem that stores whole seconds has a
// tick of one second.
bool IsSettled(const statx_timestamp& changed, const timespec& now) {
  const int64_t second = changed.tv_nsec == 0 ? 1 : 0;
  if (now.tv_sec != changed.tv_sec + second) return now.tv_sec > changed.tv_sec + second;
  return now.tv_nsec > changed.tv_nsec;
}

bool HasOwnerOf(const struct statx& source, const struct statx& copy) {
  return copy.stx_uid == source.stx_uid && copy.stx_gid == source.stx_gid &&
         copy.stx_mode == source.stx_mode;
}

// Returns true if the copy got the owner, the group and the set-id bits of its source. Without the
// permission to set them, they depend on the folder in which the copy was created, and that is not
// the folder that it will be in. A file that was created with them still has them, unless an access
// control list was dropped.
bool GotOwnerOf(const struct statx& source, const CopiedItem& copied) {
  if (HasOwnerOf(source, copied.made) && !copied.isAnyDropped) return true;
  struct statx info = {};
  return ReadObjectInfo(copied.item.fd(), "", &info) == noErr && HasOwnerOf(source, info);
}

Preparation OutcomeOf(Status status) {
  switch (status) {
    case noErr:
      return Preparation::kDone;
    case dskFulErr:
    case tmfoErr:
    case memFullErr:
      return Preparation::kImpossible;
    default:
      return Preparation::kUnsuitable;
  }
}

Preparation Prepare(const FileToPrepare& file, int toFolder, PreparedCopy* prepared) {
  CopiedItem copied;
  UniqueFd from;
  timespec begin = {};
  (void)clock_gettime(CLOCK_REALTIME_COARSE, &begin);
  // A file that is prepared in vain must not show that it was read.
  Status status = OpenSourceFileWithoutAtime(file.folder->get(), file.name.c_str(), file.identity,
                                             &copied.source, &from);
  if (status != noErr) return OutcomeOf(status);
  const struct statx source = copied.source;
  if (source.stx_size > kMaxPreparedSize || !IsSettled(source.stx_ctime, begin)) {
    return Preparation::kUnsuitable;
  }
  status = TempItem::MakeAnonymousFile(toFolder, source.stx_mode, &copied.item);
  if (status != noErr) return Preparation::kImpossible;
  const int to = copied.item.fd();
  status = ReadObjectInfo(to, "", &copied.made);
  if (status != noErr) return OutcomeOf(status);
  bool hasChanged = false;
  status = FillFile(from.get(), to, copied.made, CopyRole::kCopiedItem, &copied.source, &hasChanged,
                    &copied.isAnyDropped);
  if (status != noErr) return OutcomeOf(status);
  if (hasChanged || !GotOwnerOf(source, copied)) return Preparation::kUnsuitable;
  prepared->copied = std::move(copied);
  prepared->madeAt = CoarseMilliseconds();
  return Preparation::kDone;
}

}  // namespace

Preparation PrepareCopy(const FileToPrepare& file, int toFolder, PreparedCopy* prepared) try {
  return Prepare(file, toFolder, prepared);
} catch (const std::bad_alloc&) {
  return Preparation::kImpossible;
}

bool IsUpToDate(const PreparedCopy& prepared, const CopySource& source) {
  constexpr int64_t kMaxAge = 1000;
  struct statx now = {};
  return CoarseMilliseconds() - prepared.madeAt <= kMaxAge &&
         ReadObjectInfo(source.folder, source.name.c_str(), &now) == noErr &&
         Identity::Of(now).Matches(source.identity) && IsUnchanged(prepared.copied.source, now);
}

}  // namespace tessary
