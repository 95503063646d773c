#include "platform/linux/operations/announced_change.h"

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/operations/object_state.h"

namespace tessary {

Status AnnouncedChange::Announce(ChangeKind kind, const ChangedItem* item, const Target* target,
                                 bool hasSidecar) {
  const FolderTable& folders = Catalog::Get().folders();
  Change change = {.kind = kind, .source = {}, .target = {}, .hasSidecar = hasSidecar};
  struct statx info = {};
  if (target != nullptr) {
    const Place& place = target->place;
    const Status status = ReadObjectInfo(place.descriptor(), place.name.c_str(), &info);
    if (status == noErr) return dupFNErr;
    // Some filesystems report EINVAL for a character that they cannot store in a name.
    if (status != fnfErr) return status == paramErr ? bdNamErr : status;
    change.target = folders.PathOfChild(target->folder, place.name);
  }
  if (item != nullptr) {
    // Read now: a cached stat may be that of an object that has been replaced since.
    const Place& place = item->place;
    const Status status = ReadObjectInfo(place.descriptor(), place.name.c_str(), &info);
    if (status != noErr) return status;
    if (item->reference != nullptr && !IsObjectOf(*item->reference, info)) return fnfErr;
    change.source = folders.PathOfChild(item->folder, place.name);
    change.object = ObjectStateOf(info);
  }
  const Status status = gChangeObserver->BeforeChange(change);
  if (status != noErr) return status;
  object_ = change.object;
  isOpen_ = true;
  return noErr;
}

void AnnouncedChange::SetStagedName(CopySource* source) const {
  if (isOpen_) source->stagedName = VisibleTempName(gChangeObserver->StagingUuid());
}

void AnnouncedChange::ConcludeOpen(Status status, const Target* target) {
  if (status != noErr) {
    Fail(status);
    return;
  }
  isOpen_ = false;
  std::optional<ObjectState> result;
  struct statx info = {};
  const bool isFound =
      target != nullptr &&
      ReadObjectInfo(target->place.descriptor(), target->place.name.c_str(), &info) == noErr;
  if (isFound) result = ObjectStateOf(info);
  // A rename changes nothing that is recorded, except on overlays.
  gChangeObserver->AfterChange(result == object_ ? std::nullopt : result);
}

void AnnouncedChange::Fail(Status status) {
  isOpen_ = false;
  gChangeObserver->AfterFailure(status);
}

}  // namespace tessary
