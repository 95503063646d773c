#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/paths.h"
#include "platform/linux/catalog/sidecars.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/pair.h"
#include "platform/linux/changes/publish.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/changes/sweep.h"
#include "platform/linux/errors.h"
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
Status FindBoth(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                struct statx* info, Place* sourcePlace, Target* target) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const Look* look = nullptr;
  const Status status = catalog.AskAnew(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  *info = look->info;
  *sourcePlace = look->place;
  catalog.step().Forget(reference.parent, sourcePlace->name);
  return FindTarget(folder, newName, sourcePlace->name, target);
}

CopySource CopySourceOf(const FSRef& ref, const Place& place) {
  return {place.descriptor(), place.name, ReferenceOf(ref).GetIdentity()};
}

CopyTarget CopyTargetOf(const Target& target) {
  return {target.place.descriptor(), target.place.name, target.identity};
}

// Renames the pair, or where the kernel cannot, copies and deletes it.
Status MovePairAnywhere(const Pair& pair, const PairTarget& target) {
  const Status status = MovePair(pair, target);
  return status == diffVolErr ? MovePairAcrossVolumes(pair, target) : status;
}

// What moving and copying a pair have in common: a look at what is under way at the target, and
// that there are sidecars there from here on.
Status TransferPair(const Pair& pair, const Target& target,
                    Status (*transfer)(const Pair&, const PairTarget&)) {
  FolderTable& folders = Catalog::Get().folders();
  LookForSidecars(target.folder);
  const Status status = transfer(pair, {CopyTargetOf(target), folders.PathOf(target.folder)});
  if (status == noErr) folders.NoteSidecar(target.folder);
  return status;
}

// The item at the place and its sidecar, of which also a folder may be asked that was never listed.
Status FindPairToDelete(uint32_t folder, Place* place, std::optional<Pair>* pair) {
  LookForSidecars(folder);
  place->mayHaveSidecar = Catalog::Get().folders().HasSidecars(folder);
  return FindPair(*place, pair);
}

Status DeleteFolder(const Place& place) {
  // Only ever an empty one, so that nothing saved meanwhile can go with it.
  if (unlinkat(place.descriptor(), place.name.c_str(), AT_REMOVEDIR) == 0) return noErr;
  return errno == EEXIST ? fBsyErr : LastError();
}

Status DeletePairOf(const Reference& reference, const Place& place, const Pair& pair) {
  return DeletePair(pair, [&](const std::string& aside, const DeleteSidecar& deleteSidecar) {
    if (S_ISDIR(pair.item.stx_mode)) {
      const Status status = DeleteFolder(place);
      return status == noErr ? deleteSidecar() : status;
    }
    bool isDisplaced = false;
    return RemoveByWayOf(
        place.descriptor(), place.name.c_str(), aside,
        [&](const struct statx& info) {
          return Identity::Of(info).Matches(reference.GetIdentity()) && deleteSidecar() == noErr;
        },
        &isDisplaced);
  });
}

Status MakeTargetRef(const Target& target, FSRef* ref) {
  Catalog& catalog = Catalog::Get();
  catalog.step().Forget(target.folder, target.place.name);
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
  if (!VolumeOf(target.identity.device, target.place.descriptor()).hasTrueEntries) {
    return MakeTargetRef(target, ref);
  }
  Catalog& catalog = Catalog::Get();
  catalog.step().Remember(target.folder, target.place, info);
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
  Status status = FindBoth(source, folder, newName, &info, &from, &to);
  if (status != noErr) return status;
  std::optional<Pair> pair;
  status = FindPair(from, &pair);
  if (status != noErr) return status;
  if (pair) {
    pair->path = Catalog::Get().folders().PathOf(ReferenceOf(source).parent);
    status = TransferPair(*pair, to, MovePairAnywhere);
    return status == noErr ? MakeTargetRef(to, target) : status;
  }
  status = RenameWithoutReplacing(from.descriptor(), from.name.c_str(), to.place.descriptor(),
                                  to.place.name.c_str());
  if (status == diffVolErr) {
    status = MoveItemAcrossVolumes(CopySourceOf(source, from), CopyTargetOf(to));
  }
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSMoveObjectAtOnce(const FSRef& source, const FSRef& folder, FSRef* target) {
  if (target == nullptr || FSMayBeFolder(source)) return paramErr;
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const Look* look = nullptr;
  Status status = catalog.Ask(reference, &look);
  if (status != noErr) return status;
  const Place& from = look->place;
  Target to;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // The item's own sidecar would stay behind, and it would take on another's.
  if (from.mayHaveSidecar || IsSidecarWaiting(to.folder, to.place.name)) return paramErr;
  status = RenameWithoutReplacing(from.descriptor(), from.name.c_str(), to.place.descriptor(),
                                  to.place.name.c_str());
  if (status == noErr) status = MakeNamedRef(look->info, to, target);
  catalog.step().Forget(reference.parent, from.name);
  return status;
}

Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  const Look* look = nullptr;
  const Reference reference = ReferenceOf(source);
  Status status = Catalog::Get().Ask(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  const Place from = look->place;
  const struct statx info = look->info;
  Target to;
  status = FindTarget(folder, newName, from.name, &to);
  if (status != noErr) return status;
  std::optional<Pair> pair;
  status = FindPair(from, &pair);
  if (status != noErr) return status;
  if (pair && !Identity::Of(pair->item).Matches(reference.GetIdentity())) return fnfErr;
  // The copy looks whether the source is still the object that it was.
  CopySource copySource = CopySourceOf(source, from);
  copySource.seen = info;
  status = pair ? TransferPair(*pair, to, CopyPair) : CopyItem(copySource, CopyTargetOf(to));
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSCopyObjectAtOnce(const FSRef& source, const FSRef& folder, FSRef* target) try {
  const Reference reference = ReferenceOf(source);
  if (target == nullptr || reference.kind != NodeKind::kFile) return paramErr;
  Place from;
  Target to;
  Status status = Catalog::Get().Find(reference, &from);
  if (status != noErr) return status;
  status = FindTarget(folder, nullptr, from.name, &to);
  if (status != noErr) return status;
  // Its own sidecar would be left out, and it would take on another's.
  if (from.mayHaveSidecar || IsSidecarWaiting(to.folder, to.place.name)) return paramErr;
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
  const Look* look = nullptr;
  const Reference reference = ReferenceOf(ref);
  const Status status = Catalog::Get().AskAnew(reference, &look);
  if (status != noErr) return status;
  if (reference.parent == 0) return fBsyErr;
  Place place = look->place;
  const bool isFolder = S_ISDIR(look->info.stx_mode);
  Catalog::Get().step().Forget(reference.parent, place.name);
  std::optional<Pair> pair;
  if (const Status found = FindPairToDelete(reference.parent, &place, &pair)) return found;
  if (pair) return DeletePairOf(reference, place, *pair);
  if (isFolder) return DeleteFolder(place);
  bool isDisplaced = false;
  return RemoveIfMeant(
      place.descriptor(), place.name.c_str(),
      [&reference](const struct statx& aside) {
        return Identity::Of(aside).Matches(reference.GetIdentity());
      },
      &isDisplaced);
}

void FSSweepFolder(const FSRef& folder) {
  uint32_t number = 0;
  FolderHandle handle;
  if (Catalog::Get().OpenFolder(ReferenceOf(folder), &number, &handle) != noErr) return;
  if (Catalog::Get().folders().MayHaveLeftovers(number)) SweepFolder(handle->get());
}

int PosixUnlink(const char* path) {
  uint32_t number = 0;
  Place place;
  if (FindPlaceOfPath(path, &number, &place.name) != noErr) return ENOENT;
  if (number == 0) return EISDIR;
  if (Catalog::Get().folders().Open(number, &place.folder) != noErr) return ENOENT;
  Catalog::Get().step().Forget(number, place.name);
  int error = 0;
  const auto unlinkItem = [&] {
    error = unlinkat(place.descriptor(), place.name.c_str(), 0) == 0 ? 0 : errno;
    return error == 0;
  };
  std::optional<Pair> pair;
  if (const Status found = FindPairToDelete(number, &place, &pair)) {
    return found == fnfErr ? ENOENT : EIO;
  }
  if (!pair) {
    (void)unlinkItem();
    return error;
  }
  const Status status =
      DeletePair(*pair, [&](const std::string& /*aside*/, const DeleteSidecar& deleteSidecar) {
        return unlinkItem() ? deleteSidecar() : StatusFromErrno(error);
      });
  if (status == noErr || error != 0) return error;
  // It is the sidecar that cannot go, and keeps its item.
  return EPERM;
}

}  // namespace tessary
