#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/operations/target.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// Renames the pair, or where the kernel cannot, copies and deletes it.
Status MoveWithSidecarAnywhere(const ItemWithSidecar& pair, const TargetWithPath& target) {
  const Status status = MoveWithSidecar(pair, target);
  return status == diffVolErr ? MoveWithSidecarAcrossFilesystems(pair, target) : status;
}

}  // namespace

Status FSMoveObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  struct statx info = {};
  Place from;
  Target to;
  Status status = FindSourceAndTarget(source, folder, newName, &info, &from, &to);
  if (status != noErr) return status;
  std::optional<ItemWithSidecar> pair;
  status = FindWithSidecar(from, &pair);
  if (status != noErr) return status;
  if (pair) {
    pair->path = Catalog::Get().folders().PathOf(ReferenceOf(source).parent);
    status = TransferWithSidecar(*pair, to, MoveWithSidecarAnywhere);
    return status == noErr ? MakeTargetRef(to, target) : status;
  }
  status = RenameWithoutReplacing(from.descriptor(), from.name.c_str(), to.place.descriptor(),
                                  to.place.name.c_str());
  if (status == diffVolErr) {
    status = MoveItemAcrossFilesystems(CopySourceOf(source, from), CopyTargetOf(to));
  }
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSTryFastMove(const FSRef& source, const FSRef& folder, FSRef* target) {
  if (target == nullptr || FSMayBeFolder(source)) return paramErr;
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const CachedStat* look = nullptr;
  Status status = catalog.Stat(reference, &look);
  if (status != noErr) return status;
  const Place& from = look->place;
  Target to;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // The item's own sidecar would stay behind, and it would take on another's.
  if (from.mayHaveSidecar || HasOrphanedSidecar(to.folder, to.place.name)) return paramErr;
  status = RenameWithoutReplacing(from.descriptor(), from.name.c_str(), to.place.descriptor(),
                                  to.place.name.c_str());
  if (status == noErr) status = MakeNamedRef(look->info, to, target);
  catalog.statCache().Forget(reference.parent, from.name);
  return status;
}

}  // namespace tessary
