#include <new>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_ahead.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/operations/announced_change.h"
#include "platform/linux/operations/planned_operations.h"
#include "platform/linux/operations/target.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {

Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  if (auto* plan = PlannedOperations::Current()) return plan->Copy(source, folder, newName, target);
  const CachedStat* cached = nullptr;
  const Reference reference = ReferenceOf(source);
  Status status = Catalog::Get().Stat(reference, &cached);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  // Copies: the entry of the cache may be reused by the lookups below.
  const Place from = cached->place;
  const struct statx info = cached->info;
  Target to;
  status = FindTarget(folder, newName, from.name, &to);
  if (status != noErr) return status;
  std::optional<ItemWithSidecar> withSidecar;
  status = FindWithSidecar(from, &withSidecar);
  if (status != noErr) return status;
  if (withSidecar && !Identity::Of(withSidecar->item).Matches(reference.GetIdentity())) {
    return fnfErr;
  }
  AnnouncedChange change;
  status = change.AnnounceTransfer(ChangeKind::kItemCopied, {reference.parent, from, &reference},
                                   to, withSidecar.has_value());
  if (status != noErr) return status;
  // The cached stat is good enough: CopyItem checks the identity again once the source is open.
  CopySource copySource = CopySourceOf(source, from);
  copySource.knownStat = info;
  status = RetryWithoutPreparedCopies([&] {
    return withSidecar ? TransferWithSidecar(*withSidecar, to, CopyWithSidecar)
                       : CopyItem(copySource, CopyTargetOf(to));
  });
  status = change.Conclude(status, &to);
  if (status == noErr) *target = MakeTargetRef(to, InfoOfCopy(info, to));
  return status;
}

Status FSTryFastCopy(const FSRef& source, const FSRef& folder, FSRef* target) try {
  const Reference reference = ReferenceOf(source);
  if (target == nullptr || reference.kind != NodeKind::kFile) return paramErr;
  if (auto* plan = PlannedOperations::Current()) return plan->Copy(source, folder, nullptr, target);
  Place from;
  Target to;
  Status status = Catalog::Get().Find(reference, &from);
  if (status != noErr) return status;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // The item's sidecar would not be copied.
  if (from.mayHaveSidecar) return paramErr;
  AnnouncedChange change;
  status =
      change.AnnounceTransfer(ChangeKind::kItemCopied, {reference.parent, from, &reference}, to,
                              /*hasSidecar=*/false);
  if (status != noErr) return status;
  CopiedItem copied;
  status = PublishSmallCopy(CopySourceOf(source, from), CopyTargetOf(to), &copied);
  if (status != noErr) return change.Conclude(status, &to);
  // The stat was taken before the copy got the source's times; the cached one must have them.
  copied.made.stx_mtime = copied.source.stx_mtime;
  *target = MakeTargetRefFast(to, copied.made);
  copied.item.Keep();
  return change.Conclude(noErr, &to);
} catch (const std::bad_alloc&) {
  return memFullErr;
}

}  // namespace tessary
