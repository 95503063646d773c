#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/paths.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/linux/errors.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// The folder that an object goes into and the name that it gets there.
struct Target {
  uint32_t folder = 0;
  Identity identity;  // the folder's
  Place place;
};

Status FindTarget(const FSRef& folder, const std::u16string* newName, const std::string& ownName,
                  Target* target) {
  const Reference reference = ReferenceOf(folder);
  Status status = Catalog::Get().OpenFolder(reference, &target->folder, &target->place.folder);
  if (status != noErr) return status;
  target->identity = reference.GetIdentity();
  const Volume& volume = VolumeOf(reference.device, target->place.descriptor());
  if (newName != nullptr) return PosixName(*newName, volume, &target->place.name);
  target->place.name = NameOnVolume(ownName, volume);
  return noErr;
}

// What moving and copying have in common: finding the source, still the object that it was, and the
// place that it goes to.
Status FindSourceAndTarget(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                           struct statx* info, Place* sourcePlace, Target* target) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const CachedStat* look = nullptr;
  const Status status = catalog.Restat(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  *info = look->info;
  *sourcePlace = look->place;
  catalog.statCache().Forget(reference.parent, sourcePlace->name);
  return FindTarget(folder, newName, sourcePlace->name, target);
}

CopySource CopySourceOf(const FSRef& ref, const Place& place) {
  return {place.descriptor(), place.name, ReferenceOf(ref).GetIdentity()};
}

CopyTarget CopyTargetOf(const Target& target) {
  return {target.place.descriptor(), target.place.name, target.identity};
}

// Renames the pair, or where the kernel cannot, copies and deletes it.
Status MoveWithSidecarAnywhere(const ItemWithSidecar& pair, const TargetWithPath& target) {
  const Status status = MoveWithSidecar(pair, target);
  return status == diffVolErr ? MoveWithSidecarAcrossFilesystems(pair, target) : status;
}

// What moving and copying a pair have in common: a look at what is under way at the target, and
// that there are sidecars there from here on.
Status TransferWithSidecar(const ItemWithSidecar& pair, const Target& target,
                           Status (*transfer)(const ItemWithSidecar&, const TargetWithPath&)) {
  FolderTable& folders = Catalog::Get().folders();
  ScanForSidecars(target.folder);
  const Status status = transfer(pair, {CopyTargetOf(target), folders.PathOf(target.folder)});
  if (status == noErr) folders.NoteSidecar(target.folder);
  return status;
}

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

Status MakeTargetRef(const Target& target, FSRef* ref) {
  Catalog& catalog = Catalog::Get();
  catalog.statCache().Forget(target.folder, target.place.name);
  Reference made;
  const Status status = catalog.LookUp(target.folder, target.place.name, &made);
  if (status == noErr) *ref = RefOf(made);
  return status;
}

// The same of an object that was just given the name, and of which `info` told before. Where
// objects keep their numbers, it is not looked up again, so that it is no reference to what another
// program put in its place before a rename or after a copy. That is refused wherever the
// reference is used.
Status MakeNamedRef(const struct statx& info, const Target& target, FSRef* ref) {
  if (!VolumeOf(target.identity.device, target.place.descriptor()).hasReliableEntries) {
    return MakeTargetRef(target, ref);
  }
  Catalog& catalog = Catalog::Get();
  catalog.statCache().Insert(target.folder, target.place, info);
  *ref = RefOf(catalog.MakeReference(target.folder, target.place.name, info));
  return noErr;
}

}  // namespace

Status FSCreateDirectoryUnicode(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  *folder = FSRef{};
  Target target;
  const std::u16string newName(name);
  const Status status = FindTarget(parent, &newName, {}, &target);
  if (status != noErr) return status;
  if (mkdirat(target.place.descriptor(), target.place.name.c_str(), 0777) != 0) {
    // A volume's way of refusing a character that it cannot hold.
    return errno == EINVAL ? bdNamErr : LastError();
  }
  return MakeTargetRef(target, folder);
}

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

Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  const CachedStat* look = nullptr;
  const Reference reference = ReferenceOf(source);
  Status status = Catalog::Get().Stat(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  const Place from = look->place;
  const struct statx info = look->info;
  Target to;
  status = FindTarget(folder, newName, from.name, &to);
  if (status != noErr) return status;
  std::optional<ItemWithSidecar> pair;
  status = FindWithSidecar(from, &pair);
  if (status != noErr) return status;
  if (pair && !Identity::Of(pair->item).Matches(reference.GetIdentity())) return fnfErr;
  // The copy looks whether the source is still the object that it was.
  CopySource copySource = CopySourceOf(source, from);
  copySource.knownStat = info;
  status = pair ? TransferWithSidecar(*pair, to, CopyWithSidecar)
                : CopyItem(copySource, CopyTargetOf(to));
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSTryFastCopy(const FSRef& source, const FSRef& folder, FSRef* target) try {
  const Reference reference = ReferenceOf(source);
  if (target == nullptr || reference.kind != NodeKind::kFile) return paramErr;
  Place from;
  Target to;
  Status status = Catalog::Get().Find(reference, &from);
  if (status != noErr) return status;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // Its own sidecar would be left out, and it would take on another's.
  if (from.mayHaveSidecar || HasOrphanedSidecar(to.folder, to.place.name)) return paramErr;
  CopiedItem copied;
  status = PublishSmallCopy(CopySourceOf(source, from), CopyTargetOf(to), &copied);
  if (status != noErr) return status;
  // What a look at the copy in this step will be told.
  copied.made.stx_mtime = copied.source.stx_mtime;
  status = MakeNamedRef(copied.made, to, target);
  if (status == noErr) copied.item.Keep();
  return status;
} catch (const std::bad_alloc&) {
  return memFullErr;
}

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

void FSRecoverFolder(const FSRef& folder) {
  uint32_t number = 0;
  FolderHandle handle;
  if (Catalog::Get().OpenFolder(ReferenceOf(folder), &number, &handle) != noErr) return;
  if (Catalog::Get().folders().MayHaveStaleTempFiles(number)) CleanUpFolder(handle->get());
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
