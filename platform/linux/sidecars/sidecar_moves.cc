#include "platform/linux/sidecars/sidecar_moves.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/rename_pin.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

JournalEntry EntryFor(JournalOperation operation, const ItemWithSidecar& source,
                      const TargetWithPath& target) {
  const bool isAtTarget =
      operation == JournalOperation::kCopy || operation == JournalOperation::kMoveTarget;
  return {operation,
          source.name,
          target.name,
          isAtTarget ? source.path : target.path,
          ObjectFingerprint::Of(source.item),
          ObjectFingerprint::Of(source.sidecar)};
}

CopySource CopySourceFor(const ItemWithSidecar& source, const std::string& name,
                         const struct statx& info) {
  return {source.folder, name, Identity::Of(info)};
}

Status CopySidecar(const ItemWithSidecar& source, const TargetWithPath& target,
                   CopiedItem* copied) {
  // In the role of an inner item even its comment is copied.
  return PublishCopy(CopySourceFor(source, SidecarName(source.name), source.sidecar),
                     {target.folder, SidecarName(target.name), target.identity},
                     CopyRole::kInnerItem, copied);
}

// A sidecar that is staged while its item is deleted. Restored on destruction unless it has been
// deleted.
class StagedSidecar {
 public:
  StagedSidecar() = default;
  StagedSidecar(const StagedSidecar&) = delete;
  StagedSidecar& operator=(const StagedSidecar&) = delete;
  ~StagedSidecar() {
    if (!stagedName_.empty()) Restore();
  }

  Status StageForDeletion(const ItemWithSidecar& source) {
    const JournalEntry entry = EntryFor(JournalOperation::kDelete, source, {});
    const Status status = SidecarJournal::Write(source.folder, entry, &journal_);
    return status == noErr ? Stage(source) : status;
  }

  // `copyJournal` is the journal at the target.
  Status StageForMove(const ItemWithSidecar& source, const TargetWithPath& target,
                      const SidecarJournal& copyJournal) {
    const JournalEntry entry = EntryFor(JournalOperation::kMoveAcrossFilesystems, source, target);
    const Status status = SidecarJournal::WriteSecond(copyJournal, source.folder, entry, &journal_);
    return status == noErr ? Stage(source) : status;
  }

  // Deletes the sidecar, whose item has been deleted. One that cannot be deleted is left to
  // recovery, as a stale temporary file or, if it cannot be renamed either, by the entry.
  void Delete() {
    if (unlinkat(folder_, stagedName_.c_str(), 0) != 0 && errno != ENOENT && !MakeStale()) {
      journal_.Keep();
      NSLog("\"" + sidecarName_ + "\" could not be deleted and is now \"" + stagedName_ + "\"");
    }
    stagedName_.clear();
  }

  std::string StagedItemName() const { return journal_.StagedItemName(); }

 private:
  bool MakeStale() try {
    std::string name;
    return MakeTempName(&name) == noErr &&
           renameat(folder_, stagedName_.c_str(), folder_, name.c_str()) == 0;
  } catch (const std::bad_alloc&) {
    return false;
  }

  Status Stage(const ItemWithSidecar& source) {
    folder_ = source.folder;
    sidecarName_ = SidecarName(source.name);
    // Set before the rename, so that running out of memory cannot keep the sidecar from being
    // restored.
    stagedName_ = journal_.StagedSidecarName();
    const RenamePin pin(folder_, sidecarName_.c_str());
    Status status =
        RenameWithoutReplacing(folder_, sidecarName_.c_str(), folder_, stagedName_.c_str());
    if (status != noErr) {
      stagedName_.clear();
      return status;
    }
    struct statx info = {};
    status = ReadObjectInfo(folder_, stagedName_.c_str(), &info);
    if (status != noErr) return status;
    pin.RestoreIdentity(&info);
    // Checked now that nobody finds it by its name: it may have been rewritten since it was found,
    // or since it was copied.
    return IsUnchangedButForName(source.sidecar, info) ? noErr : fBsyErr;
  }

  void Restore() try {
    const Status status =
        RenameWithoutReplacing(folder_, stagedName_.c_str(), folder_, sidecarName_.c_str());
    // With fnfErr another process has removed it: there is nothing to restore.
    if (status == noErr || status == fnfErr) return;
    journal_.Keep();
    NSLog("\"" + sidecarName_ + "\" could not keep its name and is now \"" + stagedName_ + "\"");
  } catch (const std::bad_alloc&) {
    // Only the message is missing: recovery restores it by the entry, if that was kept.
  }

  int folder_ = -1;
  std::string sidecarName_;
  std::string stagedName_;  // empty unless it is staged
  SidecarJournal journal_;
};

// The copy of the sidecar, which is made before that of the item, and its journal. Both are removed
// on destruction unless the copy is kept. If the copy cannot be removed, the journal entry stays,
// so that recovery removes it.
class PendingCopy {
 public:
  PendingCopy() = default;
  PendingCopy(const PendingCopy&) = delete;
  PendingCopy& operator=(const PendingCopy&) = delete;
  ~PendingCopy() {
    sidecar_.item = TempItem();
    struct statx info = {};
    const bool isLeft = !name_.empty() && ReadObjectInfo(folder_, name_.c_str(), &info) != fnfErr;
    if (isLeft) journal_.Keep();
  }

  Status Begin(const ItemWithSidecar& source, const TargetWithPath& target) {
    const JournalEntry entry = EntryFor(JournalOperation::kCopy, source, target);
    Status status = SidecarJournal::Write(target.folder, entry, &journal_);
    if (status != noErr) return status;
    // Allocated before there is a copy, so that running out of memory cannot keep the destructor
    // from finding it.
    std::string name = SidecarName(target.name);
    status = CopySidecar(source, target, &sidecar_);
    if (status != noErr) return status;
    folder_ = target.folder;
    name_ = std::move(name);
    return noErr;
  }

  const CopiedItem& sidecar() const { return sidecar_; }
  const SidecarJournal& journal() const { return journal_; }

  // Keeps the copy and removes the journal entry.
  void Keep() {
    sidecar_.item.Keep();
    name_.clear();
    journal_ = SidecarJournal();
  }

 private:
  int folder_ = -1;
  std::string name_;  // of the copy; empty unless it is to be removed
  CopiedItem sidecar_;
  SidecarJournal journal_;
};

// Renames the item, after its sidecar. Without RENAME_NOREPLACE that takes two steps: if the
// process crashes between them, the item is at the target too, and an entry there keeps a run from
// moving it on without its sidecar.
Status MoveItem(const ItemWithSidecar& source, const TargetWithPath& target,
                const SidecarJournal& moveJournal) {
  SidecarJournal journal;
  if (HasProbeResult(target.identity.device, ProbeResult::kNoRenameNoReplace)) {
    const JournalEntry entry = EntryFor(JournalOperation::kMoveTarget, source, target);
    const Status status = SidecarJournal::WriteSecond(moveJournal, target.folder, entry, &journal);
    if (status != noErr) return status;
  }
  return RenameWithoutReplacing(source.folder, source.name.c_str(), target.folder,
                                target.name.c_str());
}

Status CopyBoth(const ItemWithSidecar& source, const TargetWithPath& target) {
  PendingCopy copy;
  Status status = copy.Begin(source, target);
  if (status != noErr) return status;
  status = CopyItem(CopySourceFor(source, source.name, source.item), target);
  if (status == noErr) copy.Keep();
  return status;
}

Status MoveBothAcrossFilesystems(const ItemWithSidecar& source, const TargetWithPath& target) {
  PendingCopy copy;
  Status status = copy.Begin(source, target);
  if (status != noErr) return status;
  // Its name is already there. If the filesystem does not sync a name with its file, the folder is
  // synced later, for the item.
  if (fsync(copy.sidecar().item.fd()) != 0) return LastError();
  StagedSidecar staged;
  ItemWithSidecar copied = source;
  copied.sidecar = copy.sidecar().source;
  status = staged.StageForMove(copied, target, copy.journal());
  if (status != noErr) return status;
  CopySource item = CopySourceFor(source, source.name, source.item);
  item.stagedName = staged.StagedItemName();
  status = MoveItemAcrossFilesystems(item, target);
  if (status != noErr) return status;
  staged.Delete();
  // Removes the entry at the target, before the destructor of `staged` removes the other one.
  copy.Keep();
  return noErr;
}

}  // namespace

Status FindWithSidecar(const Place& place, std::optional<ItemWithSidecar>* found) {
  found->reset();
  if (!place.mayHaveSidecar || IsSidecarName(place.name)) return noErr;
  ItemWithSidecar both{place.descriptor(), place.name, {}, {}, {}};
  Status status = ReadObjectInfo(both.folder, SidecarName(both.name).c_str(), &both.sidecar);
  // bdNamErr: the name of the sidecar would be too long, though the item's is not.
  if (status == fnfErr || status == bdNamErr) return noErr;
  if (status != noErr) return status;
  if (!S_ISREG(both.sidecar.stx_mode)) return noErr;
  status = ReadObjectInfo(both.folder, both.name.c_str(), &both.item);
  if (status == noErr) *found = std::move(both);
  return status;
}

// The sidecar is renamed first, so that the item is never at the target without it.
Status MoveWithSidecar(const ItemWithSidecar& source, const TargetWithPath& target) {
  const std::string sidecar = SidecarName(source.name);
  const std::string newSidecar = SidecarName(target.name);
  SidecarJournal journal;
  Status status = SidecarJournal::Write(
      source.folder, EntryFor(JournalOperation::kMove, source, target), &journal);
  if (status != noErr) return status;
  status =
      RenameWithoutReplacing(source.folder, sidecar.c_str(), target.folder, newSidecar.c_str());
  if (status != noErr) return status;
  status = MoveItem(source, target, journal);
  if (status == noErr) return noErr;
  if (RenameWithoutReplacing(target.folder, newSidecar.c_str(), source.folder, sidecar.c_str()) !=
      noErr) {
    journal.Keep();
    NSLog("\"" + sidecar + "\" could not be moved back and is now \"" + target.path + "/" +
          newSidecar + "\"");
  }
  return status;
}

Status CopyWithSidecar(const ItemWithSidecar& source, const TargetWithPath& target) try {
  return CopyBoth(source, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status MoveWithSidecarAcrossFilesystems(const ItemWithSidecar& source,
                                        const TargetWithPath& target) try {
  return MoveBothAcrossFilesystems(source, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status DeleteWithSidecar(const ItemWithSidecar& source, const RemoveItem& removeItem) {
  StagedSidecar staged;
  Status status = staged.StageForDeletion(source);
  if (status == noErr) status = removeItem(staged.StagedItemName());
  // The sidecar is deleted last: as long as the item can still stay, so can its sidecar.
  if (status == noErr) staged.Delete();
  return status;
}

}  // namespace tessary
