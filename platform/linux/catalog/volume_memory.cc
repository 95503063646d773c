#include "platform/linux/catalog/volume_memory.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <set>
#include <tuple>

namespace tessary {
namespace {

struct VolumeMemory {
  std::mutex mutex;
  std::set<std::tuple<VolumeLack, uint32_t, uint32_t>> lacks;
};

VolumeMemory& Memory() {
  static VolumeMemory gMemory;
  return gMemory;
}

}  // namespace

bool IsKnownToLack(uint32_t device, VolumeLack what, uint32_t other) {
  const std::lock_guard lock(Memory().mutex);
  return Memory().lacks.contains({what, device, other});
}

void RememberLack(uint32_t device, VolumeLack what, uint32_t other) try {
  const std::lock_guard lock(Memory().mutex);
  Memory().lacks.insert({what, device, other});
} catch (const std::bad_alloc&) {
  // It is found out again the next time. What has been done by then must not look undone.
}

bool IsAnyKnownToLack(VolumeLack what) {
  const std::lock_guard lock(Memory().mutex);
  const auto& lacks = Memory().lacks;
  return std::any_of(lacks.begin(), lacks.end(),
                     [what](const auto& lack) { return std::get<VolumeLack>(lack) == what; });
}

void ForgetLacks() {
  const std::lock_guard lock(Memory().mutex);
  Memory().lacks.clear();
}

}  // namespace tessary
