#include "platform/linux/changes/move_across_filesystems.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_file.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/deletion_check.h"
#include "platform/linux/changes/deletion_record.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/read_lease.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"
#include "platform/managers/change_observer.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

std::atomic<uint64_t> gKeptCopies = 0;

// Makes the names in the open folder durable. With `syncsFilesystem`, makes everything on its
// filesystem durable.
Status MakeFolderDurable(int folder, bool syncsFilesystem) {
  // `folder` may be an O_PATH descriptor, which cannot be synced.
  const UniqueFd opened(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened && errno == EACCES) {
    // A folder that this user may write to but not read cannot be opened for a sync.
    sync();
    return noErr;
  }
  if (!opened) return LastError();
  if (syncsFilesystem) return syncfs(opened.get()) == 0 ? noErr : LastError();
  if (fsync(opened.get()) == 0) return noErr;
  // Some filesystems do not support fsync on a folder.
  const bool isUnsupported = errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
  return isUnsupported && syncfs(opened.get()) == 0 ? noErr : LastError();
}

// Makes the published copy durable. The contents of a folder are durable already: CopyFolder syncs
// them before it publishes the folder. For a link, only the name can be synced.
Status MakeDurable(const CopiedItem& copied, const CopyTarget& target) {
  const Volume& volume = VolumeOf(target.identity.device, target.folder);
  if (S_ISREG(copied.source.stx_mode)) {
    if (fsync(copied.item.fd()) != 0) return LastError();
    // Saves the second sync, which takes about as long as the move itself.
    if (volume.syncsNamesWithFile) return noErr;
  }
  return MakeFolderDurable(target.folder,
                           volume.syncsObjectsSeparately && S_ISDIR(copied.source.stx_mode));
}

// Returns true if the source is no longer there because another program has deleted or moved it.
bool IsGone(const CopySource& source) {
  struct statx info = {};
  return ReadObjectInfo(source.folder, source.name.c_str(), &info) == fnfErr;
}

// Opens the file that is to be moved, for the lease before its deletion. Returns fBsyErr if another
// process has it open for writing, before anything is copied. `*opened` stays empty for a link or a
// folder.
Status OpenIfNoWriters(const CopySource& source, const struct statx& info, UniqueFd* opened) {
  if (!S_ISREG(info.stx_mode)) return noErr;
  struct statx found = {};
  const Status status =
      OpenSourceFile(source.folder, source.name.c_str(), Identity::Of(info), &found, opened);
  if (status != noErr) return status;
  const Status leased = AcquireReadLease(source.identity.device, opened->get());
  // Not held while the file is copied: programs that open it for writing would block all that time.
  // Changes made meanwhile are found before the deletion.
  if (leased == noErr) ReleaseReadLease(opened->get());
  return leased == fBsyErr ? fBsyErr : noErr;
}

// The last check before the source is deleted. It is staged: `staged` is its stat result under the
// random name, by which no other program finds it, and `original` is open on it if it is a file.
bool IsUnchangedSinceCopy(const CopiedItem& copied, int original, const struct statx& staged) {
  if (!IsUnchangedButForName(copied.source, staged)) return false;
  if (!S_ISREG(staged.stx_mode)) return true;
  // A process that opened the file before it was staged can still write to it. The lease shows that
  // there is none, and blocks new ones until the file is deleted.
  const Identity identity = Identity::Of(copied.source);
  const Status leased = AcquireReadLease(identity.device, original);
  if (leased != noErr && leased != paramErr) return false;
  // Stat again: a writer may have been at work after `staged` was read and have gone before the
  // lease was acquired. Without leases this is all that can be checked. The identity of `original`
  // was checked when it was opened.
  struct statx last = {};
  const bool isUnchanged =
      ReadLatestInfo(original, identity, &last) == noErr && HasSameAttributes(copied.source, last);
  return isUnchanged && (leased == paramErr || IsReadLeaseUnbroken(original));
}

// Deletes the source, a file or a link, if it is still what was copied. Keeps the copy if the
// source is gone or has lost its name.
Status DeleteFile(const CopySource& source, int original, CopiedItem* copied) {
  struct statx info = {};
  // This check includes the change time, which the staging updates: only here is a change of
  // extended attributes alone found.
  Status status = ReadObjectInfo(source.folder, source.name.c_str(), &info);
  if (status != noErr) return status;
  if (!IsUnchanged(copied->source, info)) return fBsyErr;
  bool isDisplaced = false;
  const char* name = source.name.c_str();
  const UnchangedCheck isUnchanged = [copied, original](const struct statx& staged) {
    return IsUnchangedSinceCopy(*copied, original, staged);
  };
  status =
      source.stagedName.empty()
          ? RemoveIfUnchanged(source.folder, name, isUnchanged, &isDisplaced)
          : RemoveViaStagedName(source.folder, name, source.stagedName, isUnchanged, &isDisplaced);
  ReleaseReadLease(original);
  // A displaced source is no longer where it was, so that its copy under the expected name stays.
  if (status == noErr || isDisplaced) copied->item.Keep();
  return status;
}

void LogIncompleteDeletion(const std::string& name) {
  NSLog("\"" + name + "\" was moved, but its original could not be deleted completely");
}

// Opens the source folder if everything below it is still what was copied. Returns fBsyErr
// otherwise.
Status OpenUnchangedFolder(const CopySource& source, const CopiedItem& copied, UniqueFd* opened) {
  UniqueFd folder = OpenWithoutAtime(source.folder, source.name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!folder) return LastError();
  Manifest manifest;
  if (const Status status = ReadManifest(folder.get(), &manifest)) return status;
  if (!manifest.Matches(copied.manifest)) return fBsyErr;
  *opened = std::move(folder);
  return noErr;
}

// Deletes a source folder that cannot be renamed, because it is in a lower layer of an overlay.
// Each object is compared with what was copied right before its deletion. If the process crashes,
// recovery finds the record and deletes the rest of the folder.
Status DeleteFolderInPlace(const CopySource& source, const CopyTarget& target, CopiedItem* copied) {
  bool hasBegun = false;
  TempItem record;
  // Best effort: without a record, the rest of the folder stays beside its complete copy.
  (void)WriteDeletionRecord(source.folder, source.name, target.folder, target.name, &record);
  const Volume& volume = VolumeOf(source.identity.device, source.folder);
  Status status = MakeFolderDurable(source.folder, volume.syncsObjectsSeparately);
  if (status == noErr) {
    status = DeleteTreeIfUnchanged(source.folder, source.name.c_str(), copied->manifest, &hasBegun);
  }
  if (status == noErr || hasBegun) copied->item.Keep();
  if (status == noErr || !hasBegun) return status;
  record.Keep();
  LogIncompleteDeletion(source.name);
  return noErr;
}

// Deletes the source folder if it is still what was copied. It is staged under a temporary name
// first, so that no half of it is ever seen under its own name. Once anything is deleted, the copy
// is the only complete one and stays whatever happens; a later run cleans up the rest.
Status DeleteFolder(const CopySource& source, const CopyTarget& target, CopiedItem* copied) {
  UniqueFd opened;
  Status status = OpenUnchangedFolder(source, *copied, &opened);
  if (status != noErr) return status;
  TempItem staged;
  status =
      TempItem::StageForDeletion(source.folder, source.name.c_str(), std::move(opened), &staged);
  if (status == diffVolErr) return DeleteFolderInPlace(source, target, copied);
  if (status != noErr) return status;

  bool hasBegun = false;
  const Volume& volume = VolumeOf(source.identity.device, source.folder);
  // The staged name has to be durable first: a crash could otherwise bring the own name back with
  // some of the contents deleted.
  status = MakeFolderDurable(source.folder, volume.syncsObjectsSeparately);
  if (status == noErr) {
    status = DeleteTree(source.folder, staged.name().c_str(), staged.fd(), &hasBegun);
  }
  if (status == noErr || hasBegun) copied->item.Keep();
  if (status == noErr) return noErr;
  if (hasBegun) {
    LogIncompleteDeletion(source.name);
    return noErr;
  }
  if (const Status renamed = staged.Publish(source.name.c_str())) {
    // Another program has used the name. The source is complete, but hidden, so the copy stays.
    copied->item.Keep();
    NSLog("\"" + source.name + "\" could not be deleted and is now \"" + staged.name() + "\"");
    return renamed;
  }
  return status;
}

// The order protects the data: everything that can fail is tried before the source is touched, the
// copy is durable before the source is deleted, and the source is compared with what was copied
// right before its deletion. Until the copy is kept, any failure rolls it back.
Status Move(const CopySource& source, const CopyTarget& target) {
  struct statx info = {};
  if (const Status status = CheckItemName(target.name)) return status;
  if (const Status status = FindSource(source, &info)) return status;
  Status status = CheckDeletable(source.folder, source.name.c_str(), info);
  if (status != noErr) return status;

  UniqueFd original;
  status = OpenIfNoWriters(source, info, &original);
  if (status != noErr) return status;
  CopiedItem copied;
  status = PublishCopy(source, target, CopyRole::kMovedItem, &copied);
  if (status != noErr) return status;
  status = MakeDurable(copied, target);
  if (status != noErr) return status;
  if (gChangeObserver != nullptr) status = gChangeObserver->Sync();
  if (status != noErr) return status;
  // If another program has deleted the copy, the source is the only one left.
  if (!copied.item.IsStillNamed()) return fnfErr;
  status = S_ISDIR(info.stx_mode) ? DeleteFolder(source, target, &copied)
                                  : DeleteFile(source, original.get(), &copied);
  // If another program has deleted or moved the source, the copy may be the only one left.
  if (status == fnfErr && IsGone(source)) {
    copied.item.Keep();
    ++gKeptCopies;
    NSLog("\"" + source.name +
          "\" was moved or deleted by another program while it was copied; the copy stays");
    status = noErr;
  }
  if (status == noErr && copied.isAnyDropped) {
    NSLog("Attributes of \"" + source.name + "\" were dropped: the destination cannot store them");
  }
  return status;
}

}  // namespace

uint64_t CountKeptCopies() { return gKeptCopies; }

Status MoveItemAcrossFilesystems(const CopySource& source, const CopyTarget& target) try {
  return Move(source, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

}  // namespace tessary
