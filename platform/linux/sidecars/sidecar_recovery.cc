#include "platform/linux/sidecars/sidecar_recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/open_without_symlinks.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

// What is under a name, or none.
using ObjectInfo = std::optional<struct statx>;

// Reads what is under a name. None also if the folder is not open, because it no longer exists, and
// if no object can have the name.
Status Find(int folder, const std::string& name, ObjectInfo* info) {
  info->reset();
  if (folder < 0) return noErr;
  struct statx found = {};
  const Status status = ReadObjectInfo(folder, name.c_str(), &found);
  if (status == noErr) *info = found;
  return status == fnfErr || status == bdNamErr ? noErr : status;
}

bool MatchesAttributes(const ObjectInfo& info, const ObjectFingerprint& fingerprint) {
  return info && fingerprint.MatchesAttributes(*info);
}

bool IsSameObject(const ObjectInfo& info, const ObjectFingerprint& fingerprint) {
  return info && (fingerprint.MatchesIdentity(*info) || fingerprint.MatchesAttributes(*info));
}

bool IsUnchanged(const ObjectInfo& info, const ObjectFingerprint& fingerprint) {
  return info && fingerprint.MatchesIdentity(*info) && fingerprint.MatchesAttributes(*info);
}

bool AreHardLinks(const ObjectInfo& first, const ObjectInfo& second) {
  return first && second && first->stx_nlink > 1 &&
         Identity::Of(*first).Equals(Identity::Of(*second));
}

bool IsEmptyFile(const struct statx& info) { return S_ISREG(info.stx_mode) && info.stx_size == 0; }

bool IsEmpty(int folder, const std::string& name, const struct statx& info) {
  if (S_ISREG(info.stx_mode)) return IsEmptyFile(info);
  if (!S_ISDIR(info.stx_mode)) return false;
  const UniqueFd opened = OpenWithoutAtime(folder, name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  std::vector<std::string> names;
  return opened && ReadFolderNames(opened.get(), nullptr, &names) == noErr && names.empty();
}

Status Unlink(int folder, const std::string& name) {
  return unlinkat(folder, name.c_str(), 0) == 0 || errno == ENOENT ? noErr : LastError();
}

// Sets the modification time of `fingerprint` to what the filesystem of the folder stores for it,
// probed with a temporary file: FAT counts in units of 2 s, exFAT and sshfs of 1 s, NTFS of 100 ns.
// Returns false if that cannot be probed.
bool RoundTime(int folder, ObjectFingerprint* fingerprint) {
  TempItem file;
  struct statx info = {};
  if (folder < 0 || TempItem::MakeTempFile(folder, &file) != noErr) return false;
  const timespec time = {fingerprint->seconds, fingerprint->nanoseconds};
  const std::array<timespec, 2> times = {time, time};
  if (futimens(file.fd(), times.data()) != 0) return false;
  if (ReadObjectInfo(file.fd(), "", &info) != noErr) return false;
  fingerprint->seconds = info.stx_mtime.tv_sec;
  fingerprint->nanoseconds = info.stx_mtime.tv_nsec;
  return true;
}

// The operation that an entry describes, on the folder `from` that the item leaves and the folder
// `to` that it goes to. -1 stands for a folder that the operation does not have or that no longer
// exists. Each function is idempotent: it decides by what it finds on disk, and may be killed too.
class CrashedOperation {
 public:
  CrashedOperation(int from, int to, const std::string& entryName, const JournalEntry& entry)
      : from_(from),
        to_(to),
        entry_(entry),
        sidecar_(SidecarName(entry.name)),
        newSidecar_(SidecarName(entry.newName)),
        stagedItem_(StagedItemNameOf(entryName)),
        stagedSidecar_(StagedSidecarNameOf(entryName)) {}

  Status RecoverMove() const {
    ObjectInfo item;
    if (const Status status = Find(from_, entry_.name, &item)) return status;
    if (!IsSameObject(item, entry_.item)) return noErr;  // The item has been moved.
    ObjectInfo newSidecar;
    if (const Status status = Find(to_, newSidecar_, &newSidecar)) return status;
    if (!IsSameObject(newSidecar, entry_.sidecar)) return noErr;  // Nothing has been moved.
    // Without RENAME_NOREPLACE, a file is renamed by a second link, then the first one is removed.
    // With both links there, the item has been moved but for the removal.
    ObjectInfo newItem;
    if (const Status status = Find(to_, entry_.newName, &newItem)) return status;
    if (AreHardLinks(item, newItem)) return Unlink(from_, entry_.name);
    ObjectInfo sidecar;
    if (const Status status = Find(from_, sidecar_, &sidecar)) return status;
    if (!sidecar) return RestoreName(to_, newSidecar_, sidecar_);
    return AreHardLinks(sidecar, newSidecar) ? Unlink(to_, newSidecar_) : noErr;
  }

  // Rolls back the copy of a sidecar whose item has not been copied.
  Status RecoverCopy() const {
    ObjectInfo item;
    if (const Status status = Find(to_, entry_.newName, &item)) return status;
    // The item may have been changed since it was copied. An empty object is not a copy of another
    // one, but the placeholder that reserves a name on a filesystem without RENAME_NOREPLACE.
    const bool isCopied =
        item && (!IsEmpty(to_, entry_.newName, *item) || IsCopy(item, entry_.item));
    if (isCopied) return noErr;
    ObjectInfo sidecar;
    if (const Status status = Find(to_, newSidecar_, &sidecar)) return status;
    // An empty file is the placeholder: no program writes an empty sidecar.
    const bool isOurs = sidecar && (IsEmptyFile(*sidecar) || IsCopy(sidecar, entry_.sidecar));
    return isOurs ? Unlink(to_, newSidecar_) : noErr;
  }

  // Deletes the rest of the original if the item is gone and both copies exist. Otherwise restores
  // what is staged.
  Status RecoverMoveAcrossFilesystems() const {
    ObjectInfo newItem;
    ObjectInfo newSidecar;
    ObjectInfo item;
    ObjectInfo staged;
    if (const Status status = Find(to_, entry_.newName, &newItem)) return status;
    if (const Status status = Find(to_, newSidecar_, &newSidecar)) return status;
    if (const Status status = Find(from_, entry_.name, &item)) return status;
    if (const Status status = Find(from_, stagedItem_, &staged)) return status;
    const bool isCopied = IsCopy(newItem, entry_.item) && IsCopy(newSidecar, entry_.sidecar);
    const bool isGone = !IsSameObject(item, entry_.item);
    return DeleteOrRestore(isCopied && isGone && (!staged || IsUnchanged(staged, entry_.item)));
  }

  // What is staged may be another object, which took the name at the last moment: it is restored.
  // If nothing has either name of the item, it has been deleted, and its sidecar was to follow.
  Status RecoverDeletion() const {
    ObjectInfo item;
    ObjectInfo staged;
    if (const Status status = Find(from_, entry_.name, &item)) return status;
    if (const Status status = Find(from_, stagedItem_, &staged)) return status;
    return DeleteOrRestore((!item && !staged) || IsUnchanged(staged, entry_.item));
  }

 private:
  // Returns true if an object in the folder `to` is a complete copy of the one that the fingerprint
  // describes.
  bool IsCopy(const ObjectInfo& info, ObjectFingerprint fingerprint) const {
    if (!info || MatchesAttributes(info, fingerprint)) return info.has_value();
    return RoundTime(to_, &fingerprint) && MatchesAttributes(info, fingerprint);
  }

  // The item last: as long as it is staged, it decides what is to be done, also after another
  // crash.
  Status DeleteOrRestore(bool shouldDelete) const {
    const Status status = ResolveStaged(stagedSidecar_, sidecar_, entry_.sidecar, shouldDelete);
    if (status != noErr) return status;
    return ResolveStaged(stagedItem_, entry_.name, entry_.item, shouldDelete);
  }

  Status ResolveStaged(const std::string& stagedName, const std::string& name,
                       const ObjectFingerprint& fingerprint, bool shouldDelete) const {
    ObjectInfo staged;
    ObjectInfo original;
    if (const Status status = Find(from_, stagedName, &staged)) return status;
    if (!staged) return noErr;
    if (const Status status = Find(from_, name, &original)) return status;
    // Without RENAME_NOREPLACE the staging may have been interrupted: the object still has its own
    // name, and the staged one is a second link to it or an empty placeholder.
    const bool isInPlace = AreHardLinks(staged, original) || (IsSameObject(original, fingerprint) &&
                                                              IsEmpty(from_, stagedName, *staged));
    if (shouldDelete || isInPlace) return Unlink(from_, stagedName);
    return RestoreName(from_, stagedName, name);
  }

  // Renames an object to `name` in the folder left. If that name exists by now, a hidden object
  // gets a visible name instead.
  Status RestoreName(int folder, const std::string& from, const std::string& name) const {
    const Status status = RenameWithoutReplacing(folder, from.c_str(), from_, name.c_str());
    if (status != dupFNErr) return status;
    if (from != stagedSidecar_) return noErr;
    return RenameWithoutReplacing(folder, from.c_str(), from_, from.c_str() + 1);
  }

  int from_;
  int to_;
  const JournalEntry& entry_;
  std::string sidecar_;
  std::string newSidecar_;
  std::string stagedItem_;
  std::string stagedSidecar_;
};

// An entry file that was found.
struct FoundEntry {
  UniqueFd file;
  Identity identity;
  std::optional<JournalEntry> entry;  // none if it is not complete
};

// No entry is larger than its names and its path. Whatever else has an entry's name is not read to
// its end.
std::string ReadEntryFile(int file) {
  constexpr size_t kMaxEntrySize = size_t{1} << 20U;
  std::string bytes;
  std::array<char, 16'384> buffer = {};
  ssize_t size = 0;
  while (bytes.size() < kMaxEntrySize && (size = read(file, buffer.data(), buffer.size())) > 0) {
    bytes.append(buffer.data(), static_cast<size_t>(size));
  }
  return bytes;
}

// Opens an entry file without reading it. fnfErr if there is none, or not one of this user's:
// another user's entry could make us move what only we may move.
Status OpenEntry(int folder, const std::string& name, FoundEntry* found) {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder, name.c_str(), &info)) return status;
  if (!S_ISREG(info.stx_mode) || info.stx_uid != geteuid()) return fnfErr;
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  found->file = UniqueFd(openat(folder, name.c_str(), kFlags));
  if (!found->file) return LastError();
  found->identity = Identity::Of(info);
  return IsNameOf(found->file.get(), "", found->identity) ? noErr : fnfErr;
}

// Opens, locks and reads an entry file. The lock is acquired before it is read, because its owner
// may still be writing it. fnfErr as for OpenEntry, and if its owner has removed it; fBsyErr if it
// is in use or the filesystem has no locks.
Status LockEntry(int folder, const std::string& name, FoundEntry* found) {
  if (const Status status = OpenEntry(folder, name, found)) return status;
  if (TryFileLock(found->file.get()) != noErr) return fBsyErr;
  if (!IsNameOf(folder, name.c_str(), found->identity)) return fnfErr;
  found->entry = ParseJournalEntry(ReadEntryFile(found->file.get()));
  return noErr;
}

// Opens the other folder of an entry. Leaves `*other` closed if there is none, or none any more.
Status OpenOtherFolder(const JournalEntry& entry, UniqueFd* other) {
  if (entry.otherPath.empty()) return noErr;
  *other = OpenFolderWithoutSymlinks(entry.otherPath);
  if (*other || errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG) return noErr;
  return LastError();
}

// Returns true if `second` is the entry at the target of the operation whose entry in the folder
// left is `first`.
bool IsSecondEntry(const JournalEntry& first, const JournalEntry& second) {
  const bool isMove = first.operation == JournalOperation::kMove;
  const bool isAcross = first.operation == JournalOperation::kMoveAcrossFilesystems;
  return ((isMove && second.operation == JournalOperation::kMoveTarget) ||
          (isAcross && second.operation == JournalOperation::kCopy)) &&
         first.name == second.name && first.newName == second.newName;
}

// Returns true if the folder `to` contains the second entry of the operation. Its lock is not
// needed: the owner holds that of the first entry for at least as long.
bool HasSecondEntry(int to, const std::string& name, const JournalEntry& first) {
  FoundEntry found;
  if (to < 0 || OpenEntry(to, name, &found) != noErr) return false;
  const std::optional<JournalEntry> second = ParseJournalEntry(ReadEntryFile(found.file.get()));
  return !second || IsSecondEntry(first, *second);
}

// Recovers a move whose entry in the folder left is locked, and removes its entries.
Status RecoverMove(int from, int to, const std::string& name, const JournalEntry& first,
                   bool hasSecond) {
  const CrashedOperation operation(from, to, name, first);
  Status status = noErr;
  if (first.operation == JournalOperation::kMove) {
    status = operation.RecoverMove();
  } else {
    if (hasSecond) status = operation.RecoverCopy();
    if (status == noErr) status = operation.RecoverMoveAcrossFilesystems();
  }
  if (status == noErr && hasSecond) status = Unlink(to, name);
  return status == noErr ? Unlink(from, name) : status;
}

// Recovers an operation by its entry at the target, which is locked: the whole move if the entry in
// the folder left exists, otherwise what has happened at the target. fBsyErr if another process is
// recovering the move.
Status RecoverAtTarget(int to, const std::string& name, const FoundEntry& second) {
  UniqueFd from;
  if (const Status status = OpenOtherFolder(*second.entry, &from)) return status;
  FoundEntry first;
  Status status = fnfErr;
  // A crafted entry may lead to itself.
  const bool isItself = from && IsNameOf(from.get(), name.c_str(), second.identity);
  if (from && !isItself) status = LockEntry(from.get(), name, &first);
  if (status != noErr && status != fnfErr) return status;
  if (first.entry && IsSecondEntry(*first.entry, *second.entry)) {
    return RecoverMove(from.get(), to, name, *first.entry, true);
  }
  status = noErr;
  if (second.entry->operation == JournalOperation::kCopy) {
    status = CrashedOperation(-1, to, name, *second.entry).RecoverCopy();
  }
  return status == noErr ? Unlink(to, name) : status;
}

// Recovers the operation of a locked entry and removes the entry.
Status RecoverOperation(int folder, const std::string& name, const FoundEntry& found) {
  const JournalEntry& entry = *found.entry;
  switch (entry.operation) {
    case JournalOperation::kCopy:
    case JournalOperation::kMoveTarget:
      return RecoverAtTarget(folder, name, found);
    case JournalOperation::kDelete: {
      const Status status = CrashedOperation(folder, -1, name, entry).RecoverDeletion();
      return status == noErr ? Unlink(folder, name) : status;
    }
    case JournalOperation::kMove:
    case JournalOperation::kMoveAcrossFilesystems:
      break;
  }
  UniqueFd to;
  if (const Status status = OpenOtherFolder(entry, &to)) return status;
  return RecoverMove(folder, to.get(), name, entry, HasSecondEntry(to.get(), name, entry));
}

void RecoverEntry(int folder, const std::string& path, const std::string& name) {
  FoundEntry found;
  Status status = LockEntry(folder, name, &found);
  if (status == fnfErr || status == fBsyErr) return;
  std::string item;
  if (status == noErr && found.entry) {
    item = found.entry->name;
    status = RecoverOperation(folder, name, found);
    // The sidecar may have been restored in the other folder.
    FolderTable& folders = Catalog::Get().folders();
    folders.NoteSidecar(folders.FindByPath(found.entry->otherPath));
  } else if (status == noErr) {
    status = Unlink(folder, name);
  }
  if (status == noErr || status == fBsyErr) return;
  NSLog("The journal entry \"" + path + "/" + name + "\" of \"" + item +
        "\" and its sidecar could not be recovered: " + std::to_string(status));
}

}  // namespace

void RecoverSidecars(int folder, const std::string& path,
                     const std::vector<std::string>& entryNames) {
  for (const std::string& name : entryNames) RecoverEntry(folder, path, name);
}

}  // namespace tessary
