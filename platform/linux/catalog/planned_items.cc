#include "platform/linux/catalog/planned_items.h"

#include <fcntl.h>

#include <cerrno>

#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {
namespace {

constexpr int kPlannedStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

}  // namespace

PlannedItems::FolderKey PlannedItems::KeyOf(uint32_t folder) const {
  const Folder* found = folders_->Find(folder);
  return found == nullptr ? FolderKey{} : FolderKey{found->self.inode, found->self.device};
}

const PlannedItems::FolderPlan* PlannedItems::FindPlan(uint32_t folder) const {
  const auto plan = plans_.find(KeyOf(folder));
  return plan == plans_.end() ? nullptr : &plan->second;
}

bool PlannedItems::Covers(uint32_t folder, std::string_view name) const {
  if (folders_->IsPlanned(folder)) return true;
  const FolderPlan* plan = FindPlan(folder);
  return plan != nullptr && (plan->items.contains(name) || plan->freed.contains(name));
}

const PlannedItems::Item* PlannedItems::Find(uint32_t folder, std::string_view name) const {
  const FolderPlan* plan = FindPlan(folder);
  if (plan == nullptr) return nullptr;
  const auto item = plan->items.find(name);
  return item == plan->items.end() ? nullptr : &item->second;
}

Reference PlannedItems::MakeReference(uint32_t folder, std::string_view name,
                                      const Item& item) const {
  Reference reference = item.object;
  if (item.inode != 0) {
    reference.inode = item.inode;
    reference.device = KeyOf(folder).device;
  }
  if (item.state == PlannedState::kNewFolder) reference.kind = NodeKind::kFolder;
  reference.parent = folder;
  names_->SetName(&reference, name);
  return reference;
}

Status PlannedItems::LookUp(uint32_t folder, const std::string& name, Reference* reference) const {
  if (const Item* item = Find(folder, name)) {
    *reference = MakeReference(folder, name, *item);
    return noErr;
  }
  if (!folders_->IsPlanned(folder)) return fnfErr;
  // Nothing else is in a new folder. What is opened in its place shows whether the filesystem
  // accepts the name.
  FolderHandle handle;
  if (const Status status = folders_->Open(folder, &handle)) return status;
  struct statx info = {};
  const bool isRefused = statx(handle->get(), name.c_str(), kPlannedStatFlags, 0, &info) != 0 &&
                         (errno == ENAMETOOLONG || errno == EILSEQ || errno == EINVAL);
  return isRefused ? LastError() : fnfErr;
}

// Returns whether the sidecar that the item would have is the one that it has now. Another "._"
// file is not read as its sidecar.
bool PlannedItems::HasOwnSidecar(uint32_t folder, std::string_view name, const Item& item) const {
  if (!folders_->HasSidecars(item.object.parent)) return false;
  const Item* sidecar = Find(folder, SidecarName(name));
  return sidecar != nullptr && sidecar->object.parent == item.object.parent &&
         names_->NameOf(sidecar->object) == SidecarName(names_->NameOf(item.object));
}

Status PlannedItems::FindPlace(uint32_t folder, std::string_view name, Place* place) const {
  const Item* item = Find(folder, name);
  if (item == nullptr) return fnfErr;
  place->planned = item->state;
  place->mayHaveSidecar = false;
  if (item->state == PlannedState::kNewFolder) {
    place->name = name;
    return folders_->Open(folder, &place->folder);
  }
  place->mayHaveSidecar = HasOwnSidecar(folder, name, *item);
  place->name = names_->NameOf(item->object);
  return folders_->Open(item->object.parent, &place->folder);
}

Status PlannedItems::Stat(uint32_t folder, std::string_view name, const Place& place, unsigned mask,
                          struct statx* info) const {
  const Item* item = Find(folder, name);
  if (item == nullptr) return fnfErr;
  if (item->state == PlannedState::kNewFolder) {
    *info = {};
    info->stx_mask = STATX_TYPE | STATX_INO;
    info->stx_mode = S_IFDIR | 0777;
  } else {
    if (statx(place.descriptor(), place.name.c_str(), kPlannedStatFlags, mask, info) != 0) {
      return LastError();
    }
    if (!IsObjectOf(item->object, *info)) return fnfErr;
  }
  if (item->inode != 0) {
    const uint32_t device = KeyOf(folder).device;
    // A copy belongs to this user, unless this user may do everything to it anyway.
    info->stx_uid = user_;
    info->stx_nlink = 1;
    info->stx_attributes = 0;
    info->stx_ino = item->inode;
    info->stx_dev_major = device >> 20;
    info->stx_dev_minor = device & ((1U << 20) - 1);
  }
  return noErr;
}

bool PlannedItems::HasItemsIn(uint32_t folder) const {
  const FolderPlan* plan = FindPlan(folder);
  return plan != nullptr && !plan->items.empty();
}

std::vector<Reference> PlannedItems::ItemsIn(uint32_t folder) const {
  std::vector<Reference> references;
  const FolderPlan* plan = FindPlan(folder);
  if (plan == nullptr) return references;
  references.reserve(plan->items.size());
  for (const auto& [name, item] : plan->items) {
    references.push_back(MakeReference(folder, name, item));
  }
  return references;
}

Reference PlannedItems::Add(uint32_t folder, std::string_view name, const Item& item) {
  plans_[KeyOf(folder)].items.insert_or_assign(std::string(name), item);
  return MakeReference(folder, name, item);
}

Reference PlannedItems::AddFolder(uint32_t folder, std::string_view name) {
  const Reference made =
      Add(folder, name, {.object = {}, .inode = NewInode(), .state = PlannedState::kNewFolder});
  const uint32_t number = folders_->Intern(made);
  PrepareFolder(made, number);
  // It is empty: there is nothing to list or to recover in it.
  folders_->NoteListed(number);
  folders_->NoteRecovered(number);
  return made;
}

void PlannedItems::Remove(uint32_t folder, std::string_view name) {
  FolderPlan& plan = plans_[KeyOf(folder)];
  const auto item = plan.items.find(name);
  if (item != plan.items.end()) plan.items.erase(item);
  // In a new folder, no name is that of an object in the filesystem.
  if (!folders_->IsPlanned(folder)) plan.freed.emplace(name);
}

void PlannedItems::PrepareFolder(const Reference& reference, uint32_t number) {
  const Item* item = Find(reference.parent, names_->NameOf(reference));
  if (item == nullptr) return;
  if (item->state == PlannedState::kNewFolder) {
    folders_->SetStandIn(number, reference.parent, /*isPlanned=*/true);
  } else if (item->object.IsFolder()) {
    folders_->SetStandIn(number, folders_->Intern(item->object), /*isPlanned=*/false);
  }
}

}  // namespace tessary
