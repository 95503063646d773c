#include "platform/linux/sidecars/sidecar_moves.h"

#include <unistd.h>

#include <new>
#include <string>
#include <utility>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

JournalEntry EntryFor(JournalOperation change, const ItemWithSidecar& pair,
                      const TargetWithPath& target) {
  const bool isAtTarget =
      change == JournalOperation::kCopy || change == JournalOperation::kMoveTarget;
  return {change,
          pair.name,
          target.name,
          isAtTarget ? pair.path : target.path,
          ObjectFingerprint::Of(pair.item),
          ObjectFingerprint::Of(pair.sidecar)};
}

CopySource SourceOf(const ItemWithSidecar& pair, const std::string& name,
                    const struct statx& info) {
  return {pair.folder, name, Identity::Of(info)};
}

// Copies the sidecar alone, as it is.
Status CopySidecar(const ItemWithSidecar& pair, const TargetWithPath& target, CopiedItem* copied) {
  return PublishCopy(SourceOf(pair, SidecarName(pair.name), pair.sidecar),
                     {target.folder, SidecarName(target.name), target.identity},
                     CopyRole::kInnerItem, copied);
}

// A sidecar that is out of sight while its item is deleted, and has its name again when this goes,
// unless it was deleted too.
class StagedSidecar {
 public:
  StagedSidecar() = default;
  StagedSidecar(const StagedSidecar&) = delete;
  StagedSidecar& operator=(const StagedSidecar&) = delete;
  ~StagedSidecar() {
    if (!stagedName_.empty()) Restore();
  }

  Status Stage(const ItemWithSidecar& pair, JournalOperation change, const TargetWithPath& target) {
    folder_ = pair.folder;
    sidecarName_ = SidecarName(pair.name);
    Status status = SidecarJournal::Write(folder_, EntryFor(change, pair, target), &journal_);
    if (status != noErr) return status;
    // Known before the sidecar has it, so that it comes back whatever memory runs out.
    stagedName_ = journal_.StagedSidecarName();
    status = RenameWithoutReplacing(folder_, sidecarName_.c_str(), folder_, stagedName_.c_str());
    if (status != noErr) {
      stagedName_.clear();
      return status;
    }
    struct statx info = {};
    status = ReadObjectInfo(folder_, stagedName_.c_str(), &info);
    if (status != noErr) return status;
    return IsUnchangedButForName(pair.sidecar, info) ? noErr : fBsyErr;
  }

  Status Delete() {
    if (unlinkat(folder_, stagedName_.c_str(), 0) != 0) return LastError();
    stagedName_.clear();
    return noErr;
  }

  // Leaves the deletion to a later look, as the journal tells.
  void LeaveToRecovery() {
    stagedName_.clear();
    journal_.Keep();
  }

  std::string StagedItemName() const { return journal_.StagedItemName(); }

 private:
  void Restore() try {
    const Status status =
        RenameWithoutReplacing(folder_, stagedName_.c_str(), folder_, sidecarName_.c_str());
    // Nothing may be there to be given back.
    if (status == noErr || status == fnfErr) return;
    journal_.Keep();
    NSLog("\"" + sidecarName_ + "\" could not keep its name and is now \"" + stagedName_ + "\"");
  } catch (const std::bad_alloc&) {
    // The journal says it all.
  }

  int folder_ = -1;
  std::string sidecarName_;
  std::string stagedName_;
  SidecarJournal journal_;
};

// The copy of a pair while it is made: the sidecar's copy, which comes first, and the journal of
// it. Both go with this unless the sidecar's copy is kept. One that cannot be taken back leaves the
// journal, so that a later look does it.
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

  Status Begin(const ItemWithSidecar& pair, const TargetWithPath& target) {
    Status status = SidecarJournal::Write(
        target.folder, EntryFor(JournalOperation::kCopy, pair, target), &journal_);
    if (status != noErr) return status;
    // Known before there is anything to be taken back, whatever memory runs out.
    std::string name = SidecarName(target.name);
    status = CopySidecar(pair, target, &sidecar_);
    if (status != noErr) return status;
    folder_ = target.folder;
    name_ = std::move(name);
    return noErr;
  }

  const CopiedItem& sidecar() const { return sidecar_; }

  // From here on the sidecar's copy has its item, and nothing is under way.
  void Keep() {
    sidecar_.item.Keep();
    name_.clear();
    journal_ = SidecarJournal();
  }

 private:
  int folder_ = -1;
  std::string name_;  // of the sidecar's copy; empty where there is none to be taken back
  CopiedItem sidecar_;
  SidecarJournal journal_;
};

// The second half of a move. On a volume that renames in two steps, what looks at the target
// between them must not take what it finds there for a whole pair.
Status MoveItem(const ItemWithSidecar& pair, const TargetWithPath& target) {
  SidecarJournal journal;
  if (HasProbeResult(target.identity.device, ProbeResult::kNoRenameNoReplace)) {
    const JournalEntry entry = EntryFor(JournalOperation::kMoveTarget, pair, target);
    if (const Status status = SidecarJournal::Write(target.folder, entry, &journal)) return status;
  }
  return RenameWithoutReplacing(pair.folder, pair.name.c_str(), target.folder, target.name.c_str());
}

Status CopyBoth(const ItemWithSidecar& pair, const TargetWithPath& target) {
  PendingCopy copy;
  Status status = copy.Begin(pair, target);
  if (status != noErr) return status;
  status = CopyItem(SourceOf(pair, pair.name, pair.item), target);
  if (status == noErr) copy.Keep();
  return status;
}

Status MoveBothAcrossFilesystems(const ItemWithSidecar& pair, const TargetWithPath& target) {
  struct statx folder = {};
  Status status = ReadObjectInfo(pair.folder, "", &folder);
  if (status != noErr) return status;
  // Before a journal of our own lies there, which a lock may not protect.
  CleanUpFolderOnce(pair.folder, Identity::Of(folder));
  PendingCopy copy;
  status = copy.Begin(pair, target);
  if (status != noErr) return status;
  // It has its name already. Where a volume does not sync that with the file, the folder is synced
  // for the item's.
  if (fsync(copy.sidecar().item.fd()) != 0) return LastError();
  StagedSidecar staged;
  ItemWithSidecar copied = pair;
  copied.sidecar = copy.sidecar().source;
  status = staged.Stage(copied, JournalOperation::kMoveAcrossFilesystems, target);
  if (status != noErr) return status;
  CopySource item = SourceOf(pair, pair.name, pair.item);
  item.stagedName = staged.StagedItemName();
  status = MoveItemAcrossFilesystems(item, target);
  if (status != noErr) return status;
  const bool isAllGone = staged.Delete() == noErr;
  // Its journal goes before the other, which leads a later look to it.
  copy.Keep();
  if (!isAllGone) staged.LeaveToRecovery();
  return noErr;
}

}  // namespace

Status FindWithSidecar(const Place& place, std::optional<ItemWithSidecar>* pair) {
  pair->reset();
  if (!place.mayHaveSidecar || IsSidecarName(place.name)) return noErr;
  ItemWithSidecar found{place.descriptor(), place.name, {}, {}, {}};
  Status status = ReadObjectInfo(found.folder, SidecarName(found.name).c_str(), &found.sidecar);
  // The name of a sidecar can be too long where the item's is not.
  if (status == fnfErr || status == bdNamErr) return noErr;
  if (status != noErr) return status;
  if (!S_ISREG(found.sidecar.stx_mode)) return noErr;
  status = ReadObjectInfo(found.folder, found.name.c_str(), &found.item);
  if (status == noErr) *pair = std::move(found);
  return status;
}

// The sidecar goes first, so that the item never appears without it, and is renamed once at most.
Status MoveWithSidecar(const ItemWithSidecar& pair, const TargetWithPath& target) {
  const std::string sidecar = SidecarName(pair.name);
  const std::string newSidecar = SidecarName(target.name);
  SidecarJournal journal;
  Status status =
      SidecarJournal::Write(pair.folder, EntryFor(JournalOperation::kMove, pair, target), &journal);
  if (status != noErr) return status;
  status = RenameWithoutReplacing(pair.folder, sidecar.c_str(), target.folder, newSidecar.c_str());
  if (status != noErr) return status;
  status = MoveItem(pair, target);
  if (status == noErr) return noErr;
  if (RenameWithoutReplacing(target.folder, newSidecar.c_str(), pair.folder, sidecar.c_str()) !=
      noErr) {
    journal.Keep();
    NSLog("\"" + sidecar + "\" could not be given back and is now \"" + target.path + "/" +
          newSidecar + "\"");
  }
  return status;
}

Status CopyWithSidecar(const ItemWithSidecar& pair, const TargetWithPath& target) try {
  return CopyBoth(pair, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status MoveWithSidecarAcrossFilesystems(const ItemWithSidecar& pair,
                                        const TargetWithPath& target) try {
  return MoveBothAcrossFilesystems(pair, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status DeleteWithSidecar(const ItemWithSidecar& pair, const RemoveItem& removeItem) {
  StagedSidecar staged;
  const Status status = staged.Stage(pair, JournalOperation::kDelete, {});
  if (status != noErr) return status;
  return removeItem(staged.StagedItemName(), [&staged] { return staged.Delete(); });
}

}  // namespace tessary
