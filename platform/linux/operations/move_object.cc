#include "platform/linux/operations/move_object.h"

#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/operations/announced_change.h"
#include "platform/linux/operations/planned_operations.h"
#include "platform/linux/operations/target.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// Finds the source and checks that it is still the object of the reference. The check is made now,
// not taken from the stat cache: a rename works on names, so the time in which another object can
// take the name unnoticed has to be short.
Status FindSourceAndTarget(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                           Place* from, struct statx* info, Target* to) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const CachedStat* cached = nullptr;
  const Status status = catalog.Restat(reference, &cached);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  *from = cached->place;
  *info = cached->info;
  catalog.stats().Forget(reference.parent, from->name);
  return FindTarget(folder, newName, from->name, to);
}

// Renames an object, whose stat is `info`. A network filesystem reports an error for a rename whose
// reply was lost, so after an error an object that is gone from its old name and has the new one
// has been renamed. dupFNErr and diffVolErr, the usual errors, are never reported so.
Status Rename(const Place& from, const struct statx& info, const Place& to) {
  const char* name = from.name.c_str();
  const char* newName = to.name.c_str();
  const Status status = RenameWithoutReplacing(from.descriptor(), name, to.descriptor(), newName);
  if (status == noErr || status == dupFNErr || status == diffVolErr) return status;
  struct statx found = {};
  // Equals, not Matches: where names identify objects, any object would do.
  const bool isRenamed = ReadObjectInfo(from.descriptor(), name, &found) == fnfErr &&
                         ReadObjectInfo(to.descriptor(), newName, &found) == noErr &&
                         Identity::Of(found).Equals(Identity::Of(info));
  return isRenamed ? noErr : status;
}

}  // namespace

Status RenameOrCopyWithSidecar(const ItemWithSidecar& item, const TargetWithPath& target) {
  Status status = MoveWithSidecar(item, target);
  if (status != diffVolErr) return status;
  // An overlay may have renamed the sidecar, but not the item, and back: the sidecar then has
  // another identity.
  ItemWithSidecar found = item;
  status = ReadObjectInfo(item.folder, SidecarName(item.name).c_str(), &found.sidecar);
  return status == noErr ? MoveWithSidecarAcrossFilesystems(found, target) : status;
}

// Device numbers do not tell whether a rename is possible: bind mounts of one device refuse it, and
// an overlay has several devices. So the rename is always tried first.
Status RenameOrCopy(const CopySource& source, const Place& from, const struct statx& info,
                    const Target& to, bool* isRenamed) {
  const Status status = Rename(from, info, to.place);
  *isRenamed = status == noErr;
  return status == diffVolErr ? MoveItemAcrossFilesystems(source, CopyTargetOf(to)) : status;
}

Status FSMoveObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  if (auto* plan = PlannedOperations::Current()) return plan->Move(source, folder, newName, target);
  Place from;
  struct statx info = {};
  Target to;
  Status status = FindSourceAndTarget(source, folder, newName, &from, &info, &to);
  if (status != noErr) return status;
  std::optional<ItemWithSidecar> withSidecar;
  status = FindWithSidecar(from, &withSidecar);
  if (status != noErr) return status;
  AnnouncedChange change;
  const Reference reference = ReferenceOf(source);
  status = change.AnnounceTransfer(ChangeKind::kItemMoved, {reference.parent, from, &reference}, to,
                                   withSidecar.has_value());
  if (status != noErr) return status;
  bool isRenamed = false;
  if (withSidecar) {
    withSidecar->path = Catalog::Get().folders().PathOf(reference.parent);
    status = TransferWithSidecar(*withSidecar, to, RenameOrCopyWithSidecar);
  } else {
    CopySource copySource = CopySourceOf(source, from);
    change.SetStagedName(&copySource);
    status = RenameOrCopy(copySource, from, info, to, &isRenamed);
  }
  status = change.Conclude(status, &to);
  if (status == noErr) *target = MakeTargetRef(to, isRenamed ? info : InfoOfCopy(info, to));
  return status;
}

uint64_t FSCountKeptCopies() { return CountKeptCopies(); }

Status FSTryFastMove(const FSRef& source, const FSRef& folder, FSRef* target) {
  if (target == nullptr || FSMayBeFolder(source)) return paramErr;
  if (auto* plan = PlannedOperations::Current()) return plan->Move(source, folder, nullptr, target);
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const CachedStat* cached = nullptr;
  Status status = catalog.Stat(reference, &cached);
  if (status != noErr) return status;
  const Place& from = cached->place;
  Target to;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // The item's sidecar would stay behind.
  if (from.mayHaveSidecar) return paramErr;
  AnnouncedChange change;
  status = change.AnnounceTransfer(ChangeKind::kItemMoved, {reference.parent, from, &reference}, to,
                                   /*hasSidecar=*/false);
  if (status != noErr) return status;
  // A copy: the entry of the cache may be reused by the lookup below.
  const struct statx info = cached->info;
  status = change.Conclude(Rename(from, info, to.place), &to);
  catalog.stats().Forget(reference.parent, from.name);
  if (status == noErr) *target = MakeTargetRefFast(to, info);
  return status;
}

}  // namespace tessary
