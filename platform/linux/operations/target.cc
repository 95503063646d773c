#include "platform/linux/operations/target.h"

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/volume.h"

namespace tessary {
namespace {

FSRef MakeKnownRef(const Target& target, const struct statx& known) {
  Catalog& catalog = Catalog::Get();
  const std::string& name = target.place.name;
  catalog.stats().Forget(target.folder, name);
  catalog.stats().Insert(target.folder, target.place, known);
  return RefOf(catalog.MakeReference(target.folder, name, known));
}

}  // namespace

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

FSRef MakeTargetRef(const Target& target, const struct statx& known) {
  Catalog& catalog = Catalog::Get();
  const std::string& name = target.place.name;
  catalog.stats().Forget(target.folder, name);
  Reference made;
  if (catalog.LookUp(target.folder, name, &made) == noErr) return RefOf(made);
  return MakeKnownRef(target, known);
}

FSRef MakeTargetRefFast(const Target& target, const struct statx& known) {
  const Volume& volume = VolumeOf(target.identity.device, target.place.descriptor());
  return volume.hasReliableEntries ? MakeKnownRef(target, known) : MakeTargetRef(target, known);
}

struct statx InfoOfCopy(const struct statx& original, const Target& target) {
  struct statx copy = original;
  copy.stx_ino = 0;
  copy.stx_mask &= ~unsigned{STATX_BTIME};
  copy.stx_dev_major = target.identity.device >> 20;
  copy.stx_dev_minor = target.identity.device & ((1U << 20) - 1);
  return copy;
}

}  // namespace tessary
