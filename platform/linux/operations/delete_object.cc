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
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// The item at the place and its sidecar, of which also a folder may be asked that was never listed.
Status FindWithSidecarToDelete(uint32_t folder, Place* place,
                               std::optional<ItemWithSidecar>* pair) {
  ScanForSidecars(folder);
  place->mayHaveSidecar = Catalog::Get().folders().HasSidecars(folder);
  return FindWithSidecar(*place, pair);
}

Status DeleteFolder(const Place& place) {
  // Only ever an empty one, so that nothing saved meanwhile can go with it.
  if (unlinkat(place.descriptor(), place.name.c_str(), AT_REMOVEDIR) == 0) return noErr;
  return errno == EEXIST ? fBsyErr : LastError();
}

Status DeleteReferenceWithSidecar(const Reference& reference, const Place& place,
                                  const ItemWithSidecar& pair) {
  return DeleteWithSidecar(pair, [&](const std::string& aside, const DeleteSidecar& deleteSidecar) {
    if (S_ISDIR(pair.item.stx_mode)) {
      const Status status = DeleteFolder(place);
      return status == noErr ? deleteSidecar() : status;
    }
    bool isDisplaced = false;
    return RemoveViaStagedName(
        place.descriptor(), place.name.c_str(), aside,
        [&](const struct statx& info) {
          return Identity::Of(info).Matches(reference.GetIdentity()) && deleteSidecar() == noErr;
        },
        &isDisplaced);
  });
}

}  // namespace

Status FSDeleteObject(const FSRef& ref) {
  const CachedStat* look = nullptr;
  const Reference reference = ReferenceOf(ref);
  const Status status = Catalog::Get().Restat(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return fBsyErr;
  Place place = look->place;
  const bool isFolder = S_ISDIR(look->info.stx_mode);
  Catalog::Get().statCache().Forget(reference.parent, place.name);
  std::optional<ItemWithSidecar> pair;
  if (const Status found = FindWithSidecarToDelete(reference.parent, &place, &pair)) return found;
  if (pair) return DeleteReferenceWithSidecar(reference, place, *pair);
  if (isFolder) return DeleteFolder(place);
  bool isDisplaced = false;
  return RemoveIfUnchanged(
      place.descriptor(), place.name.c_str(),
      [&reference](const struct statx& aside) {
        return Identity::Of(aside).Matches(reference.GetIdentity());
      },
      &isDisplaced);
}

int PosixUnlink(const char* path) {
  uint32_t number = 0;
  Place place;
  if (FindPlaceOfPath(path, &number, &place.name) != noErr) return ENOENT;
  if (number == 0) return EISDIR;
  if (Catalog::Get().folders().Open(number, &place.folder) != noErr) return ENOENT;
  Catalog::Get().statCache().Forget(number, place.name);
  int error = 0;
  const auto unlinkItem = [&] {
    error = unlinkat(place.descriptor(), place.name.c_str(), 0) == 0 ? 0 : errno;
    return error == 0;
  };
  std::optional<ItemWithSidecar> pair;
  if (const Status found = FindWithSidecarToDelete(number, &place, &pair)) {
    return found == fnfErr ? ENOENT : EIO;
  }
  if (!pair) {
    (void)unlinkItem();
    return error;
  }
  const Status status = DeleteWithSidecar(
      *pair, [&](const std::string& /*aside*/, const DeleteSidecar& deleteSidecar) {
        return unlinkItem() ? deleteSidecar() : StatusFromErrno(error);
      });
  if (status == noErr || error != 0) return error;
  // It is the sidecar that cannot go, and keeps its item.
  return EPERM;
}

}  // namespace tessary
