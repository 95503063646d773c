#include "platform/linux/sidecars/sidecar_recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/sidecars/sidecar_journal.h"

namespace tessary {
namespace {

std::optional<struct statx> TryStat(int folder, const std::string& name) {
  struct statx info = {};
  if (ReadObjectInfo(folder, name.c_str(), &info) != noErr) return std::nullopt;
  return info;
}

bool IsSameObject(const std::optional<struct statx>& info, const ObjectFingerprint& fingerprint) {
  return info && (fingerprint.MatchesIdentity(*info) || fingerprint.MatchesAttributes(*info));
}

bool IsUntouched(const std::optional<struct statx>& info, const ObjectFingerprint& fingerprint) {
  return info && fingerprint.MatchesIdentity(*info) && fingerprint.MatchesAttributes(*info);
}

bool AreHardLinks(const std::optional<struct statx>& one,
                  const std::optional<struct statx>& other) {
  return one && other && one->stx_nlink > 1 && Identity::Of(*one).Equals(Identity::Of(*other));
}

bool IsEmpty(int folder, const std::string& name, const struct statx& info) {
  if (S_ISREG(info.stx_mode)) return info.stx_size == 0;
  if (!S_ISDIR(info.stx_mode)) return false;
  const UniqueFd opened = OpenWithoutAtime(folder, name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  std::vector<std::string> names;
  return opened && ReadFolderNames(opened.get(), nullptr, &names) == noErr && names.empty();
}

// A journal that was found, and the folder that it lies in.
class EntryRecovery {
 public:
  EntryRecovery(int folder, const std::string& entryName, JournalEntry entry)
      : folder_(folder),
        entry_(std::move(entry)),
        sidecar_(SidecarName(entry_.name)),
        newSidecar_(SidecarName(entry_.newName)),
        stagedItem_(StagedItemNameOf(entryName)),
        stagedSidecar_(StagedSidecarNameOf(entryName)) {}

  // True when nothing is left to be done.
  bool Run() {
    switch (entry_.change) {
      case JournalOperation::kMove:
        return RecoverMove();
      case JournalOperation::kMoveAcrossFilesystems:
        return RecoverMoveAcrossFilesystems();
      case JournalOperation::kCopy:
        return RecoverCopy();
      case JournalOperation::kMoveTarget:
        return RecoverOtherFolder();
      case JournalOperation::kDelete:
        break;
    }
    return RecoverDeletion();
  }

 private:
  bool RecoverMove() {
    UniqueFd target;
    if (!OpenOtherFolder(&target)) return false;
    // The journal of an arrival, to which nothing else may lead again.
    if (target) RecoverSidecars(target.get());
    if (!IsSameObject(TryStat(folder_, entry_.name), entry_.item)) return true;
    const std::optional<struct statx> there = TryStat(target.get(), newSidecar_);
    if (!target || !IsSameObject(there, entry_.sidecar)) return true;
    // Where a volume renames by a second link, both names can be one file's: the item has arrived.
    if (AreHardLinks(TryStat(folder_, entry_.name), TryStat(target.get(), entry_.newName))) {
      return unlinkat(folder_, entry_.name.c_str(), 0) == 0;
    }
    const std::optional<struct statx> here = TryStat(folder_, sidecar_);
    if (!here) return Rename(target.get(), newSidecar_, sidecar_);
    return !AreHardLinks(here, there) || unlinkat(target.get(), newSidecar_.c_str(), 0) == 0;
  }

  bool RecoverMoveAcrossFilesystems() {
    UniqueFd target;
    if (!OpenOtherFolder(&target)) return false;
    // The journal of the copies comes first, as nothing else may lead there again.
    if (target) RecoverSidecars(target.get());
    const bool isCopied = MatchesAttributes(TryStat(target.get(), entry_.newName), entry_.item) &&
                          MatchesAttributes(TryStat(target.get(), newSidecar_), entry_.sidecar);
    const bool isInPlace = IsSameObject(TryStat(folder_, entry_.name), entry_.item);
    const std::optional<struct statx> item = TryStat(folder_, stagedItem_);
    return DeleteOrRestore(isCopied && !isInPlace && (!item || IsUntouched(item, entry_.item)));
  }

  // The sidecar's copy is published first; whatever bears the item's name has come after it. As
  // long as both copies are here, they show that of a pair that is deleted there the rest may go,
  // too.
  bool RecoverCopy() {
    const std::optional<struct statx> item = TryStat(folder_, entry_.newName);
    // An empty object is no copy of another: on a volume that renames onto one, it is what has held
    // the name.
    const bool isCopied =
        item && (MatchesAttributes(item, entry_.item) || !IsEmpty(folder_, entry_.newName, *item));
    if (isCopied) return RecoverOtherFolder();
    if (!MatchesAttributes(TryStat(folder_, newSidecar_), entry_.sidecar)) return true;
    return unlinkat(folder_, newSidecar_.c_str(), 0) == 0;
  }

  // The folder that the two have left, where it is told, by the records there.
  bool RecoverOtherFolder() const {
    UniqueFd other;
    if (!OpenOtherFolder(&other)) return false;
    if (other) RecoverSidecars(other.get());
    return true;
  }

  // What was put aside may be another object that had just got the item's name, and stays.
  bool RecoverDeletion() {
    return DeleteOrRestore(IsUntouched(TryStat(folder_, stagedItem_), entry_.item));
  }

  // The item goes last: as long as it is there, it says what is to be done.
  bool DeleteOrRestore(bool shouldDelete) {
    return ResolveStaged(stagedSidecar_, sidecar_, entry_.sidecar, shouldDelete) &&
           ResolveStaged(stagedItem_, entry_.name, entry_.item, shouldDelete);
  }

  bool ResolveStaged(const std::string& aside, const std::string& name,
                     const ObjectFingerprint& fingerprint, bool shouldDelete) const {
    const std::optional<struct statx> info = TryStat(folder_, aside);
    if (!info) return true;
    // Renamed by a second link, it may still have its own name, too; renamed onto a placeholder, it
    // may not have come.
    const std::optional<struct statx> own = TryStat(folder_, name);
    const bool hasStayed = AreHardLinks(info, own) ||
                           (IsSameObject(own, fingerprint) && IsEmpty(folder_, aside, *info));
    if (shouldDelete || hasStayed) return unlinkat(folder_, aside.c_str(), 0) == 0;
    return Rename(folder_, aside, name);
  }

  static bool MatchesAttributes(const std::optional<struct statx>& info,
                                const ObjectFingerprint& fingerprint) {
    return info && fingerprint.MatchesAttributes(*info);
  }

  // False where the folder may be there but cannot be opened; it is not open where there is none.
  bool OpenOtherFolder(UniqueFd* other) const {
    *other = UniqueFd(open(entry_.otherPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return *other || errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
  }

  // To a name in the journal's folder. Where it has been taken meanwhile, what was hidden gets a
  // name that people see.
  bool Rename(int fromFolder, const std::string& from, const std::string& to) const {
    Status status = RenameWithoutReplacing(fromFolder, from.c_str(), folder_, to.c_str());
    if (status != dupFNErr) return status == noErr;
    if (from != stagedSidecar_) return true;
    status = RenameWithoutReplacing(fromFolder, from.c_str(), folder_, from.c_str() + 1);
    return status == noErr;
  }

  int folder_;
  JournalEntry entry_;
  std::string sidecar_;
  std::string newSidecar_;
  std::string stagedItem_;
  std::string stagedSidecar_;
};

// No journal is larger than the names and the path in it, whatever lies there under such a name.
std::string ReadJournalFile(int file) {
  constexpr size_t kMaxEntrySize = size_t{1} << 20U;
  std::string bytes;
  std::array<char, 16'384> buffer = {};
  ssize_t size = 0;
  while (bytes.size() < kMaxEntrySize && (size = read(file, buffer.data(), buffer.size())) > 0) {
    bytes.append(buffer.data(), static_cast<size_t>(size));
  }
  return bytes;
}

void RecoverEntry(int folder, const std::string& name) {
  const UniqueFd file(
      openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct statx info = {};
  if (!file || ReadObjectInfo(file.get(), "", &info) != noErr) return;
  // What a journal of another user says could make us move what only we may.
  if (!S_ISREG(info.stx_mode) || info.stx_uid != geteuid()) return;
  if (TryFileLock(file.get()) != noErr) return;
  if (!IsNameOf(folder, name.c_str(), Identity::Of(info))) return;
  std::optional<JournalEntry> entry = ParseJournalEntry(ReadJournalFile(file.get()));
  // A journal that was not written to its end was followed by nothing.
  const bool isDone = !entry || EntryRecovery(folder, name, *std::move(entry)).Run();
  if (isDone) unlinkat(folder, name.c_str(), 0);
}

struct Registration {
  Registration() { Catalog::Get().SetSidecarRecoverer(RecoverSidecars); }
};

const Registration kRegistration;

}  // namespace

void RecoverSidecars(int folder) {
  const UniqueFd opened = OpenWithoutAtime(folder, ".", O_DIRECTORY);
  std::vector<std::string> names;
  if (!opened || ReadFolderNames(opened.get(), IsJournalEntryName, &names) != noErr) return;
  for (const std::string& name : names) RecoverEntry(opened.get(), name);
}

}  // namespace tessary
