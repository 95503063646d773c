#include "platform/linux/changes/copy_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_contents.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
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

// Has a volume say what it would otherwise say only when the file is closed, too late to be heard:
// that there was no room for what it took, say. Closing any descriptor of the file asks for it.
Status FlushDeferredErrors(int file) {
  const int again = fcntl(file, F_DUPFD_CLOEXEC, 0);
  if (again < 0) return LastError();
  return close(again) == 0 || errno == EINTR ? noErr : LastError();
}

// Has the contents written before the name is given, so that no crash leaves the name with nothing
// behind it, should another program have the journal written in between. The journal itself is
// left alone, as the copy is made durable under its name: so this takes no more of the disk.
Status FlushContents(int file) {
  constexpr unsigned kAll =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  if (sync_file_range(file, 0, 0, kAll) == 0) return noErr;
  // A volume that does not know how makes it durable later all the same.
  const bool isUnknown = errno == EINVAL || errno == ENOSYS || errno == ESPIPE;
  return isUnknown ? noErr : LastError();
}

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

}  // namespace

Status OpenSourceFile(int folder, const char* name, const Identity& identity, struct statx* info,
                      UniqueFd* opened) {
  UniqueFd file = OpenWithoutAtime(folder, name, O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (!file) {
    // What a link and a socket say: neither is the file that was there.
    return errno == ELOOP || errno == ENXIO ? fnfErr : LastError();
  }
  struct statx found = {};
  if (const Status status = ReadObjectInfo(file.get(), "", &found)) return status;
  if (!S_ISREG(found.stx_mode) || !Identity::Of(found).Matches(identity)) return fnfErr;
  *info = found;
  *opened = std::move(file);
  return noErr;
}

Status FillFile(int from, int to, const struct statx& made, CopyRole role, struct statx* info,
                bool* hasChanged, bool* isAnyDropped) {
  struct statx after = {};
  if (const Status status = CopyContents(from, *info, to, made)) return status;
  if (const Status status = CopyMetadata(from, *info, to, made, role, isAnyDropped)) return status;
  if (!VolumeOf(Identity::Of(made).device, to).hasImmediateWriteErrors) {
    if (const Status status = FlushDeferredErrors(to)) return status;
  }
  if (const Status status = ReadLatestInfo(from, Identity::Of(*info), &after)) return status;
  *hasChanged = !IsUnchanged(*info, after);
  if (!*hasChanged) return noErr;
  // This attempt has read the file; the date of the last access is from before that.
  after.stx_atime = info->stx_atime;
  *info = after;
  return noErr;
}

Status CopyOpenFile(int from, int toFolder, const char* toName, CopyRole role, CopiedItem* copied) {
  const Status status = CopyInto(TempFileKind::kAnonymous, from, toFolder, toName, role, copied);
  if (status != paramErr) return status;
  // Unnamed files, or links that would give them a name, are not to be had here.
  return CopyInto(TempFileKind::kWithTempName, from, toFolder, toName, role, copied);
}

}  // namespace tessary
