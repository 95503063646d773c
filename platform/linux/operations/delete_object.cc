#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/paths.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/errors.h"
#include "platform/linux/operations/announced_change.h"
#include "platform/linux/operations/planned_operations.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// Finds the item at the place together with its sidecar. Works for folders that were never listed,
// too: an item is deleted from a destination folder, which the run need not have listed.
Status FindWithSidecarToDelete(uint32_t folder, Place* place,
                               std::optional<ItemWithSidecar>* item) {
  ScanForSidecars(folder);
  place->mayHaveSidecar = Catalog::Get().folders().HasSidecars(folder);
  return FindWithSidecar(*place, item);
}

// rmdir deletes empty folders only: a file saved into the folder in the meantime makes it fail, and
// if another folder has got the name, no more than an empty folder is lost.
Status DeleteFolder(const Place& place) {
  if (unlinkat(place.descriptor(), place.name.c_str(), AT_REMOVEDIR) == 0) return noErr;
  return errno == EEXIST ? fBsyErr : LastError();
}

Status DeleteReferenceWithSidecar(const Reference& reference, const Place& place,
                                  const ItemWithSidecar& item) {
  const auto removeItem = [&](const std::string& stagedName) {
    if (S_ISDIR(item.item.stx_mode)) return DeleteFolder(place);
    const auto isUnchanged = [&reference](const struct statx& info) {
      return Identity::Of(info).Matches(reference.GetIdentity());
    };
    bool isDisplaced = false;
    return RemoveViaStagedName(place.descriptor(), place.name.c_str(), stagedName, isUnchanged,
                               &isDisplaced);
  };
  return DeleteWithSidecar(item, removeItem);
}

// Deletes the object of a reference, which has been found at the place; `withSidecar` if it has a
// sidecar.
Status DeleteReference(const Reference& reference, bool isFolder, const Place& place,
                       const std::optional<ItemWithSidecar>& withSidecar) {
  if (withSidecar) return DeleteReferenceWithSidecar(reference, place, *withSidecar);
  if (isFolder) return DeleteFolder(place);
  // unlink works on names: an object saved under the name since Restat would be deleted in its
  // place.
  bool isDisplaced = false;
  return RemoveIfUnchanged(
      place.descriptor(), place.name.c_str(),
      [&reference](const struct statx& info) {
        return Identity::Of(info).Matches(reference.GetIdentity());
      },
      &isDisplaced);
}

// Unlinks the item, with its sidecar if it has one. Returns 0 or an errno.
int UnlinkWithSidecar(const Place& place, const std::optional<ItemWithSidecar>& withSidecar) {
  int error = 0;
  const auto unlinkItem = [&] {
    error = unlinkat(place.descriptor(), place.name.c_str(), 0) == 0 ? 0 : errno;
    return error == 0;
  };
  if (!withSidecar) {
    (void)unlinkItem();
    return error;
  }
  const Status status = DeleteWithSidecar(*withSidecar, [&](const std::string& /*stagedName*/) {
    return unlinkItem() ? noErr : StatusFromErrno(error);
  });
  if (status == noErr || error != 0) return error;
  // The sidecar could not be staged.
  return EPERM;
}

}  // namespace

Status FSDeleteObject(const FSRef& ref) {
  if (auto* plan = PlannedOperations::Current()) return plan->Delete(ref);
  const CachedStat* cached = nullptr;
  const Reference reference = ReferenceOf(ref);
  Status status = Catalog::Get().Restat(reference, &cached);
  if (status != noErr) return status;
  if (reference.parent == 0) return fBsyErr;
  Place place = cached->place;
  const bool isFolder = S_ISDIR(cached->info.stx_mode);
  Catalog::Get().stats().Forget(reference.parent, place.name);
  std::optional<ItemWithSidecar> item;
  status = FindWithSidecarToDelete(reference.parent, &place, &item);
  if (status != noErr) return status;
  AnnouncedChange change;
  status = change.AnnounceDeletion({reference.parent, place, &reference}, item.has_value());
  if (status != noErr) return status;
  return change.Conclude(DeleteReference(reference, isFolder, place, item), nullptr);
}

int PosixUnlink(const char* path) {
  uint32_t number = 0;
  Place place;
  if (FindPlaceOfPath(path, &number, &place.name) != noErr) return ENOENT;
  if (number == 0) return EISDIR;
  if (auto* plan = PlannedOperations::Current()) return plan->Unlink(number, place.name);
  if (Catalog::Get().folders().Open(number, &place.folder) != noErr) return ENOENT;
  Catalog::Get().stats().Forget(number, place.name);
  std::optional<ItemWithSidecar> item;
  Status status = FindWithSidecarToDelete(number, &place, &item);
  AnnouncedChange change;
  if (status == noErr) status = change.AnnounceDeletion({number, place}, item.has_value());
  if (status != noErr) return status == fnfErr ? ENOENT : EIO;
  const int error = UnlinkWithSidecar(place, item);
  // Passes the status on; the caller gets the errno.
  (void)change.Conclude(StatusFromErrno(error), nullptr);
  return error;
}

}  // namespace tessary
