#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_file.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/deletion_check.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/read_lease.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

// Makes the names in the folder durable, and with them, as journals go, what they name. With
// `isWholeVolume` everything else, too.
Status MakeFolderDurable(int folder, bool isWholeVolume) {
  const UniqueFd opened(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened && errno == EACCES) {
    // A folder that one may write to but not read cannot be synced by itself.
    sync();
    return noErr;
  }
  if (!opened) return LastError();
  if (isWholeVolume) return syncfs(opened.get()) == 0 ? noErr : LastError();
  if (fsync(opened.get()) == 0) return noErr;
  const bool isUnknown = errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
  return isUnknown && syncfs(opened.get()) == 0 ? noErr : LastError();
}

// After this the copy outlives a crash. A file has its name already, and a folder's contents were
// made durable before it got its own.
Status MakeDurable(const CopiedItem& copied, const CopyTarget& target) {
  const Volume& volume = VolumeOf(target.identity.device, target.folder);
  if (S_ISREG(copied.source.stx_mode)) {
    if (fsync(copied.item.fd()) != 0) return LastError();
    if (volume.syncsNamesWithFile) return noErr;
  }
  return MakeFolderDurable(target.folder,
                           volume.syncsObjectsSeparately && S_ISDIR(copied.source.stx_mode));
}

// True when the source is no longer there: somebody has deleted it or moved it elsewhere while it
// was copied. The copy may then be the only one, and stays.
bool IsGone(const CopySource& source) {
  struct statx info = {};
  return ReadObjectInfo(source.folder, source.name.c_str(), &info) == fnfErr;
}

// Opens the file that is to be moved, to keep an eye on it. fBsyErr where another program has it
// open for writing: what that wrote after the copy was made would be lost. `*opened` stays closed
// for what is no file.
Status OpenIfNoWriters(const CopySource& source, const struct statx& info, UniqueFd* opened) {
  if (!S_ISREG(info.stx_mode)) return noErr;
  struct statx found = {};
  const Status status =
      OpenSourceFile(source.folder, source.name.c_str(), Identity::Of(info), &found, opened);
  if (status != noErr) return status;
  const Status leased = AcquireReadLease(source.identity.device, opened->get());
  // Nobody waits for as long as a copy takes.
  if (leased == noErr) ReleaseReadLease(opened->get());
  return leased == fBsyErr ? fBsyErr : noErr;
}

// The last look at the file open as `original`, which nobody finds by its name any more.
bool IsUnchangedSinceCopy(const CopiedItem& copied, int original, const struct statx& aside) {
  if (!IsUnchangedButForName(copied.source, aside)) return false;
  if (!S_ISREG(aside.stx_mode)) return true;
  const Identity identity = Identity::Of(copied.source);
  const Status leased = AcquireReadLease(identity.device, original);
  if (leased != noErr && leased != paramErr) return false;
  // Until just now somebody could still write.
  struct statx last = {};
  const bool isUnchanged = ReadLatestInfo(original, identity, &last) == noErr &&
                           IsUnchangedButForName(copied.source, last);
  return isUnchanged && (leased == paramErr || IsReadLeaseUnbroken(original));
}

Status DeleteFile(const CopySource& source, int original, CopiedItem* copied) {
  struct statx info = {};
  Status status = ReadObjectInfo(source.folder, source.name.c_str(), &info);
  if (status != noErr) return status;
  if (!IsUnchanged(copied->source, info)) return fBsyErr;
  bool isDisplaced = false;
  const char* name = source.name.c_str();
  const UnchangedCheck isUnchanged = [copied, original](const struct statx& aside) {
    return IsUnchangedSinceCopy(*copied, original, aside);
  };
  status =
      source.stagedName.empty()
          ? RemoveIfUnchanged(source.folder, name, isUnchanged, &isDisplaced)
          : RemoveViaStagedName(source.folder, name, source.stagedName, isUnchanged, &isDisplaced);
  ReleaseReadLease(original);
  // An original that lost its place to another object is no reason to take its copy away.
  if (status == noErr || isDisplaced) copied->item.Keep();
  return status;
}

Status OpenUnchangedFolder(const CopySource& source, const CopiedItem& copied, UniqueFd* opened) {
  UniqueFd folder = OpenWithoutAtime(source.folder, source.name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!folder) return LastError();
  Manifest manifest;
  if (const Status status = ReadManifest(folder.get(), &manifest)) return status;
  if (!manifest.Matches(copied.manifest)) return fBsyErr;
  *opened = std::move(folder);
  return noErr;
}

// Deletes a folder under a hidden name, so that nobody ever sees half of it. From the first thing
// deleted on, the copy is the only whole one and stays, whatever happens; the rest of the original
// is then swept later.
Status DeleteFolder(const CopySource& source, CopiedItem* copied) {
  UniqueFd opened;
  Status status = OpenUnchangedFolder(source, *copied, &opened);
  if (status != noErr) return status;
  TempItem aside;
  status =
      TempItem::StageForDeletion(source.folder, source.name.c_str(), std::move(opened), &aside);
  if (status != noErr) return status;

  bool hasBegun = false;
  const Volume& volume = VolumeOf(source.identity.device, source.folder);
  status = MakeFolderDurable(source.folder, volume.syncsObjectsSeparately);
  if (status == noErr) {
    status = DeleteTree(source.folder, aside.name().c_str(), aside.fd(), &hasBegun);
  }
  if (status == noErr || hasBegun) copied->item.Keep();
  if (status == noErr) return noErr;
  if (hasBegun) {
    NSLog("What is left of \"" + source.name + "\" on its old volume could not be deleted");
    return noErr;
  }
  if (const Status renamed = aside.Publish(source.name.c_str())) {
    // The name was taken meanwhile. The original is whole, but hidden, and its copy must stay.
    copied->item.Keep();
    NSLog("\"" + source.name + "\" could not be deleted and is now \"" + aside.name() + "\"");
    return renamed;
  }
  return status;
}

Status Move(const CopySource& source, const CopyTarget& target) {
  struct statx info = {};
  if (const Status status = CheckItemName(target.name)) return status;
  if (const Status status = FindSource(source, &info)) return status;
  Status status = CheckDeletable(source.folder, source.name.c_str(), info);
  if (status != noErr) return status;

  struct statx folder = {};
  status = ReadObjectInfo(source.folder, "", &folder);
  if (status != noErr) return status;
  UniqueFd original;
  status = OpenIfNoWriters(source, info, &original);
  if (status != noErr) return status;
  CleanUpFolderOnce(source.folder, Identity::Of(folder));
  CopiedItem copied;
  status = PublishCopy(source, target, CopyRole::kMovedItem, &copied);
  if (status != noErr) return status;
  status = MakeDurable(copied, target);
  if (status != noErr) return status;
  // Somebody may have deleted the copy already; then the original is the only one.
  if (!copied.item.IsStillNamed()) return fnfErr;
  status = S_ISDIR(info.stx_mode) ? DeleteFolder(source, &copied)
                                  : DeleteFile(source, original.get(), &copied);
  if (status == fnfErr && IsGone(source)) {
    copied.item.Keep();
    status = noErr;
  }
  if (status == noErr && copied.isAnyDropped) {
    NSLog("Attributes of \"" + source.name + "\" could not be kept on the destination's volume");
  }
  return status;
}

}  // namespace

Status MoveItemAcrossFilesystems(const CopySource& source, const CopyTarget& target) try {
  return Move(source, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

}  // namespace tessary
