#include "platform/linux/catalog/step_memory.h"

#include <algorithm>
#include <utility>

namespace tessary {
namespace {

// An item, the folder that it goes to and what stands in its way there, and some to spare.
constexpr size_t kMostLooks = 6;

}  // namespace

void StepMemory::Begin() {
  ++depth_;
  looks_.clear();
}

void StepMemory::End() {
  --depth_;
  looks_.clear();
}

Look* StepMemory::Find(uint32_t folder, std::string_view name) {
  for (Look& look : looks_) {
    if (look.folder == folder && look.place.name == name) return &look;
  }
  return nullptr;
}

Look* StepMemory::Find(const Place& place) {
  for (Look& look : looks_) {
    if (look.place.folder == place.folder && look.place.name == place.name) return &look;
  }
  return nullptr;
}

void StepMemory::Remember(uint32_t folder, Place place, const struct statx& info) {
  if (depth_ == 0) return;
  Forget(folder, place.name);
  if (looks_.size() == kMostLooks) return;
  looks_.push_back({folder, std::move(place), info, std::nullopt});
}

void StepMemory::Forget(uint32_t folder, std::string_view name) {
  std::erase_if(looks_, [folder, name](const Look& look) {
    return look.folder == folder && look.place.name == name;
  });
}

}  // namespace tessary
