#include "platform/linux/catalog/step_memory.h"

#include <algorithm>

namespace tessary {

void StepMemory::Begin() {
  ++depth_;
  Clear();
}

void StepMemory::End() {
  --depth_;
  Clear();
}

Look* StepMemory::Find(uint32_t folder, std::string_view name) {
  for (size_t i = 0; i < used_ && folder != 0; ++i) {
    if (looks_[i].folder == folder && looks_[i].place.name == name) return &looks_[i];
  }
  return nullptr;
}

Look* StepMemory::Find(const Place& place) {
  for (size_t i = 0; i < used_; ++i) {
    Look& look = looks_[i];
    if (look.folder == 0 || look.place.folder != place.folder) continue;
    if (look.place.name == place.name) return &look;
  }
  return nullptr;
}

Look* StepMemory::MakeRoom(uint32_t folder, std::string_view name) {
  Forget(folder, name);
  const auto isFree = [](const Look& look) { return look.folder == 0; };
  Look* room = &*std::find_if(looks_.begin(), looks_.end(), isFree);
  room->place.name = name;
  room->place.mayHaveSidecar = false;
  room->attributes.reset();
  return room;
}

void StepMemory::Keep(Look* room, uint32_t folder) {
  if (depth_ == 0 || room == &looks_.back()) return;
  room->folder = folder;
  used_ = std::max(used_, static_cast<size_t>(room - looks_.data()) + 1);
}

void StepMemory::Remember(uint32_t folder, const Place& place, const struct statx& info) {
  if (depth_ == 0) return;
  Look* room = MakeRoom(folder, place.name);
  room->place.folder = place.folder;
  room->place.mayHaveSidecar = place.mayHaveSidecar;
  room->info = info;
  Keep(room, folder);
}

void StepMemory::Forget(uint32_t folder, std::string_view name) {
  Look* look = Find(folder, name);
  if (look != nullptr) look->folder = 0;
}

void StepMemory::ClearRoom() {
  for (Look& look : looks_) {
    if (look.folder == 0) look.place.folder.reset();
  }
}

// Without the folders, which nobody needs to be open any more.
void StepMemory::Clear() {
  for (size_t i = 0; i < used_; ++i) {
    looks_[i].folder = 0;
    looks_[i].place.folder.reset();
  }
  used_ = 0;
}

}  // namespace tessary
