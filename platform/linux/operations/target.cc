#include "platform/linux/operations/target.h"

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/volume.h"

namespace tessary {

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

CopySource CopySourceOf(const FSRef& ref, const Place& place) {
  return {place.descriptor(), place.name, ReferenceOf(ref).GetIdentity()};
}

CopyTarget CopyTargetOf(const Target& target) {
  return {target.place.descriptor(), target.place.name, target.identity};
}

Status TransferWithSidecar(const ItemWithSidecar& item, const Target& target,
                           Status (*transfer)(const ItemWithSidecar&, const TargetWithPath&)) {
  FolderTable& folders = Catalog::Get().folders();
  const Status status = transfer(item, {CopyTargetOf(target), folders.PathOf(target.folder)});
  if (status == noErr) folders.NoteSidecar(target.folder);
  return status;
}

Status MakeTargetRef(const Target& target, FSRef* ref) {
  Catalog& catalog = Catalog::Get();
  catalog.stats().Forget(target.folder, target.place.name);
  Reference made;
  const Status status = catalog.LookUp(target.folder, target.place.name, &made);
  if (status == noErr) *ref = RefOf(made);
  return status;
}

Status MakeTargetRefFromStat(const struct statx& info, const Target& target, FSRef* ref) {
  if (!VolumeOf(target.identity.device, target.place.descriptor()).hasReliableEntries) {
    return MakeTargetRef(target, ref);
  }
  Catalog& catalog = Catalog::Get();
  catalog.stats().Insert(target.folder, target.place, info);
  *ref = RefOf(catalog.MakeReference(target.folder, target.place.name, info));
  return noErr;
}

}  // namespace tessary
