#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/changes/copy_item.h"
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
                Place* sourcePlace, Target* target) {
  struct statx info = {};
  const Reference reference = ReferenceOf(source);
  const Status status = Catalog::Get().Ask(reference, 0, &info, sourcePlace);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  return FindTarget(folder, newName, sourcePlace->name, target);
}

CopySource CopySourceOf(const FSRef& ref, const Place& place) {
  return {place.descriptor(), place.name, ReferenceOf(ref).GetIdentity()};
}

CopyTarget CopyTargetOf(const Target& target) {
  return {target.place.descriptor(), target.place.name, target.identity};
}

Status MakeTargetRef(const Target& target, FSRef* ref) {
  Reference made;
  const Status status = Catalog::Get().LookUp(target.folder, target.place.name, &made);
  if (status == noErr) *ref = RefOf(made);
  return status;
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
  Place from;
  Target to;
  Status status = FindBoth(source, folder, newName, &from, &to);
  if (status != noErr) return status;
  status = RenameWithoutReplacing(from.descriptor(), from.name.c_str(), to.place.descriptor(),
                                  to.place.name.c_str());
  if (status == diffVolErr) {
    status = MoveItemAcrossVolumes(CopySourceOf(source, from), CopyTargetOf(to));
  }
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target) {
  if (target == nullptr) return paramErr;
  Place from;
  Target to;
  const Reference reference = ReferenceOf(source);
  Status status = Catalog::Get().Find(reference, &from);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  status = FindTarget(folder, newName, from.name, &to);
  if (status != noErr) return status;
  // The copy looks whether the source is still the object that it was.
  status = CopyItem(CopySourceOf(source, from), CopyTargetOf(to));
  return status == noErr ? MakeTargetRef(to, target) : status;
}

Status FSDeleteObject(const FSRef& ref) {
  struct statx info = {};
  Place place;
  const Reference reference = ReferenceOf(ref);
  const Status status = Catalog::Get().Ask(reference, 0, &info, &place);
  if (status != noErr) return status;
  if (reference.parent == 0) return fBsyErr;
  if (S_ISDIR(info.stx_mode)) {
    // Only ever an empty one, so that nothing saved meanwhile can go with it.
    if (unlinkat(place.descriptor(), place.name.c_str(), AT_REMOVEDIR) == 0) return noErr;
    return errno == EEXIST ? fBsyErr : LastError();
  }
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

}  // namespace tessary
