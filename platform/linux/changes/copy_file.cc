#include "platform/linux/changes/copy_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_contents.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/deferred_errors.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

enum class TempFileKind { kAnonymous, kWithTempName };

Status MakeFile(TempFileKind kind, int folder, const struct statx& source, TempItem* item) {
  return kind == TempFileKind::kAnonymous
             ? TempItem::MakeAnonymousFile(folder, source.stx_mode, item)
             : TempItem::MakeTempFile(folder, item);
}

// Writes the contents to disk before the file gets its name. Otherwise another program's fsync
// could commit the filesystem's journal, and with it the name, while the contents are still in
// memory: a crash then leaves an empty file under the final name, as seen on ext4. Not fsync, which
// would commit the journal as well: MakeDurable does that once, when the copy has its name.
Status FlushContents(int file) {
  constexpr unsigned kAll =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  if (sync_file_range(file, 0, 0, kAll) == 0) return noErr;
  // Without sync_file_range, MakeDurable alone writes the contents; only the order is lost.
  const bool isUnsupported = errno == EINVAL || errno == ENOSYS || errno == ESPIPE;
  return isUnsupported ? noErr : LastError();
}

// Makes up to two attempts, each with a new file. A source that a program saved during the first
// one is likely to be quiet now; one that changes again is probably being written all the time.
Status CopyInto(TempFileKind kind, int from, int toFolder, const char* toName, CopyRole role,
                CopiedItem* copied) {
  constexpr int kTries = 2;
  for (int i = 0; i < kTries; ++i) {
    Status status = MakeFile(kind, toFolder, copied->source, &copied->item);
    if (status != noErr) return status;
    const int file = copied->item.fd();
    status = ReadObjectInfo(file, "", &copied->made);
    if (status != noErr) return status;
    bool hasChanged = false;
    status = FillFile(from, file, copied->made, role, &copied->source, &hasChanged,
                      &copied->isAnyDropped);
    if (status != noErr) return status;
    if (hasChanged) continue;
    if (role == CopyRole::kMovedItem) status = FlushContents(file);
    return status == noErr ? copied->item.Publish(toName) : status;
  }
  return fBsyErr;
}

// Whatever has replaced the file must not be followed, block, or become our terminal.
constexpr int kSourceFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

// Checks a source that has been opened, or, if it is empty, returns why it could not be. It is
// identified only when it is open: a check before that would leave a window.
Status Identify(UniqueFd file, const Identity& identity, struct statx* info, UniqueFd* opened) {
  if (!file) {
    // The errors for a link and for a socket: neither is the file that was there.
    return errno == ELOOP || errno == ENXIO ? fnfErr : LastError();
  }
  struct statx found = {};
  if (const Status status = ReadObjectInfo(file.get(), "", &found)) return status;
  if (!S_ISREG(found.stx_mode) || !Identity::Of(found).Matches(identity)) return fnfErr;
  *info = found;
  *opened = std::move(file);
  return noErr;
}

}  // namespace

Status OpenSourceFile(int folder, const char* name, const Identity& identity, struct statx* info,
                      UniqueFd* opened) {
  return Identify(OpenWithoutAtime(folder, name, kSourceFlags), identity, info, opened);
}

Status OpenSourceFileWithoutAtime(int folder, const char* name, const Identity& identity,
                                  struct statx* info, UniqueFd* opened) {
  constexpr int kFlags = kSourceFlags | O_RDONLY | O_NOATIME | O_CLOEXEC;
  return Identify(UniqueFd(openat(folder, name, kFlags)), identity, info, opened);
}

Status FillFile(int from, int to, const struct statx& made, CopyRole role, struct statx* info,
                bool* hasChanged, bool* isAnyDropped) {
  struct statx after = {};
  // Metadata comes second: writing contents changes the modification time and clears set-id bits
  // and file capabilities.
  if (const Status status = CopyContents(from, *info, to, made)) return status;
  if (const Status status = CopyMetadata(from, *info, to, made, role, isAnyDropped)) return status;
  // While the copy can still be removed.
  if (!VolumeOf(Identity::Of(made).device, to).hasImmediateWriteErrors) {
    if (const Status status = FlushDeferredErrors(to)) return status;
  }
  // The source is checked last, so that every read of it lies between the two stats.
  if (const Status status = ReadLatestInfo(from, Identity::Of(*info), &after)) return status;
  *hasChanged = !IsUnchanged(*info, after);
  if (!*hasChanged) return noErr;
  // This attempt may have updated the access time by reading; the copy gets the one from before.
  after.stx_atime = info->stx_atime;
  *info = after;
  return noErr;
}

Status CopyOpenFile(int from, int toFolder, const char* toName, CopyRole role, CopiedItem* copied) {
  const Status status = CopyInto(TempFileKind::kAnonymous, from, toFolder, toName, role, copied);
  if (status != paramErr) return status;
  // The filesystem has no O_TMPFILE, or no hard links to publish such a file by. (paramErr can also
  // come from the copying itself; it then fails again.)
  return CopyInto(TempFileKind::kWithTempName, from, toFolder, toName, role, copied);
}

}  // namespace tessary
