#include "platform/linux/changes/pair.h"

#include <unistd.h>

#include <new>
#include <string>
#include <utility>

#include "platform/linux/catalog/volume_memory.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/publish.h"
#include "platform/linux/changes/sweep.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

PairIntent IntentOf(PairChange change, const Pair& pair, const PairTarget& target) {
  const bool isAtTarget = change == PairChange::kCopy || change == PairChange::kArrival;
  return {change,
          pair.name,
          target.name,
          isAtTarget ? pair.path : target.path,
          ObjectMark::Of(pair.item),
          ObjectMark::Of(pair.sidecar)};
}

CopySource SourceOf(const Pair& pair, const std::string& name, const struct statx& info) {
  return {pair.folder, name, Identity::Of(info)};
}

// Copies the sidecar alone, as it is.
Status CopySidecar(const Pair& pair, const PairTarget& target, CopiedItem* copied) {
  return PublishCopy(SourceOf(pair, SidecarName(pair.name), pair.sidecar),
                     {target.folder, SidecarName(target.name), target.identity},
                     CopyRole::kInnerItem, copied);
}

// A sidecar that is out of sight while its item is deleted, and has its name again when this goes,
// unless it was deleted too.
class HeldSidecar {
 public:
  HeldSidecar() = default;
  HeldSidecar(const HeldSidecar&) = delete;
  HeldSidecar& operator=(const HeldSidecar&) = delete;
  ~HeldSidecar() {
    if (!heldName_.empty()) GiveBack();
  }

  Status Take(const Pair& pair, PairChange change, const PairTarget& target) {
    folder_ = pair.folder;
    sidecarName_ = SidecarName(pair.name);
    Status status = PairRecord::Write(folder_, IntentOf(change, pair, target), &record_);
    if (status != noErr) return status;
    // Known before the sidecar has it, so that it comes back whatever memory runs out.
    heldName_ = record_.SidecarAside();
    status = RenameWithoutReplacing(folder_, sidecarName_.c_str(), folder_, heldName_.c_str());
    if (status != noErr) {
      heldName_.clear();
      return status;
    }
    struct statx info = {};
    status = ReadObjectInfo(folder_, heldName_.c_str(), &info);
    if (status != noErr) return status;
    return IsUnchangedButForName(pair.sidecar, info) ? noErr : fBsyErr;
  }

  Status Delete() {
    if (unlinkat(folder_, heldName_.c_str(), 0) != 0) return LastError();
    heldName_.clear();
    return noErr;
  }

  // Leaves the deletion to a later look, as the record tells.
  void LeaveToMending() {
    heldName_.clear();
    record_.Keep();
  }

  std::string ItemAside() const { return record_.ItemAside(); }

 private:
  void GiveBack() try {
    const Status status =
        RenameWithoutReplacing(folder_, heldName_.c_str(), folder_, sidecarName_.c_str());
    // Nothing may be there to be given back.
    if (status == noErr || status == fnfErr) return;
    record_.Keep();
    NSLog("\"" + sidecarName_ + "\" could not keep its name and is now \"" + heldName_ + "\"");
  } catch (const std::bad_alloc&) {
    // The record says it all.
  }

  int folder_ = -1;
  std::string sidecarName_;
  std::string heldName_;
  PairRecord record_;
};

// The copy of a pair while it is made: the sidecar's copy, which comes first, and the record of it.
// Both go with this unless the sidecar's copy is kept. One that cannot be taken back leaves the
// record, so that a later look does it.
class CopyUnderWay {
 public:
  CopyUnderWay() = default;
  CopyUnderWay(const CopyUnderWay&) = delete;
  CopyUnderWay& operator=(const CopyUnderWay&) = delete;
  ~CopyUnderWay() {
    sidecar_.item = HiddenItem();
    struct statx info = {};
    const bool isLeft = !name_.empty() && ReadObjectInfo(folder_, name_.c_str(), &info) != fnfErr;
    if (isLeft) record_.Keep();
  }

  Status Begin(const Pair& pair, const PairTarget& target) {
    Status status =
        PairRecord::Write(target.folder, IntentOf(PairChange::kCopy, pair, target), &record_);
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
    record_ = PairRecord();
  }

 private:
  int folder_ = -1;
  std::string name_;  // of the sidecar's copy; empty where there is none to be taken back
  CopiedItem sidecar_;
  PairRecord record_;
};

// The second half of a move. On a volume that renames in two steps, what looks at the target
// between them must not take what it finds there for a whole pair.
Status MoveItem(const Pair& pair, const PairTarget& target) {
  PairRecord record;
  if (IsKnownToLack(target.identity.device, VolumeLack::kNoReplaceFlag)) {
    const PairIntent intent = IntentOf(PairChange::kArrival, pair, target);
    if (const Status status = PairRecord::Write(target.folder, intent, &record)) return status;
  }
  return RenameWithoutReplacing(pair.folder, pair.name.c_str(), target.folder, target.name.c_str());
}

Status CopyBoth(const Pair& pair, const PairTarget& target) {
  CopyUnderWay copy;
  Status status = copy.Begin(pair, target);
  if (status != noErr) return status;
  status = CopyItem(SourceOf(pair, pair.name, pair.item), target);
  if (status == noErr) copy.Keep();
  return status;
}

Status MoveBothAcross(const Pair& pair, const PairTarget& target) {
  struct statx folder = {};
  Status status = ReadObjectInfo(pair.folder, "", &folder);
  if (status != noErr) return status;
  // Before a record of our own lies there, which a lock may not protect.
  SweepFolderOnce(pair.folder, Identity::Of(folder));
  CopyUnderWay copy;
  status = copy.Begin(pair, target);
  if (status != noErr) return status;
  // It has its name already. Where a volume does not sync that with the file, the folder is synced
  // for the item's.
  if (fsync(copy.sidecar().item.fd()) != 0) return LastError();
  HeldSidecar held;
  Pair copied = pair;
  copied.sidecar = copy.sidecar().source;
  status = held.Take(copied, PairChange::kMoveAcross, target);
  if (status != noErr) return status;
  CopySource item = SourceOf(pair, pair.name, pair.item);
  item.aside = held.ItemAside();
  status = MoveItemAcrossVolumes(item, target);
  if (status != noErr) return status;
  const bool isAllGone = held.Delete() == noErr;
  // Its record goes before the other, which leads a later look to it.
  copy.Keep();
  if (!isAllGone) held.LeaveToMending();
  return noErr;
}

}  // namespace

Status FindPair(const Place& place, std::optional<Pair>* pair) {
  pair->reset();
  if (!place.mayHaveSidecar || IsSidecarName(place.name)) return noErr;
  Pair found{place.descriptor(), place.name, {}, {}, {}};
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
Status MovePair(const Pair& pair, const PairTarget& target) {
  const std::string sidecar = SidecarName(pair.name);
  const std::string newSidecar = SidecarName(target.name);
  PairRecord record;
  Status status =
      PairRecord::Write(pair.folder, IntentOf(PairChange::kMove, pair, target), &record);
  if (status != noErr) return status;
  status = RenameWithoutReplacing(pair.folder, sidecar.c_str(), target.folder, newSidecar.c_str());
  if (status != noErr) return status;
  status = MoveItem(pair, target);
  if (status == noErr) return noErr;
  if (RenameWithoutReplacing(target.folder, newSidecar.c_str(), pair.folder, sidecar.c_str()) !=
      noErr) {
    record.Keep();
    NSLog("\"" + sidecar + "\" could not be given back and is now \"" + target.path + "/" +
          newSidecar + "\"");
  }
  return status;
}

Status CopyPair(const Pair& pair, const PairTarget& target) try {
  return CopyBoth(pair, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status MovePairAcrossVolumes(const Pair& pair, const PairTarget& target) try {
  return MoveBothAcross(pair, target);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status DeletePair(const Pair& pair, const RemoveItem& removeItem) {
  HeldSidecar held;
  const Status status = held.Take(pair, PairChange::kDelete, {});
  if (status != noErr) return status;
  return removeItem(held.ItemAside(), [&held] { return held.Delete(); });
}

}  // namespace tessary
