#include "platform/linux/catalog/volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform/linux/catalog/volume_memory.h"
#include "platform/linux/unique_fd.h"
#include "platform/managers/autorelease_pool.h"

namespace tessary {
namespace {

// A number that no device has.
constexpr uint32_t kDevice = 0xFFFFFFFF;

UniqueFd OpenFolder(const char* path) { return UniqueFd(open(path, O_PATH | O_CLOEXEC)); }

TEST(VolumeOf, AsksOnceAndAnewInTheNextPool) {
  const UniqueFd memory = OpenFolder("/dev/shm");
  const UniqueFd processes = OpenFolder("/proc");
  const NSAutoreleasePool first;
  if (!VolumeOf(kDevice, memory.get()).hasTrueEntries) GTEST_SKIP() << "/dev/shm is no tmpfs here";
  EXPECT_TRUE(VolumeOf(kDevice, processes.get()).hasTrueEntries);
  EXPECT_TRUE(VolumeAt(kDevice, "/proc").hasTrueEntries);
  const NSAutoreleasePool second;
  EXPECT_FALSE(VolumeOf(kDevice, processes.get()).hasTrueEntries);
}

TEST(VolumeMemory, LastsUntilTheNextPool) {
  RememberLack(kDevice, VolumeLack::kClones, 1);
  EXPECT_TRUE(IsKnownToLack(kDevice, VolumeLack::kClones, 1));
  EXPECT_FALSE(IsKnownToLack(kDevice, VolumeLack::kClones));
  EXPECT_FALSE(IsKnownToLack(kDevice, VolumeLack::kTrueLinks, 1));
  EXPECT_TRUE(IsAnyKnownToLack(VolumeLack::kClones));
  const NSAutoreleasePool pool;
  EXPECT_FALSE(IsKnownToLack(kDevice, VolumeLack::kClones, 1));
  EXPECT_FALSE(IsAnyKnownToLack(VolumeLack::kClones));
}

}  // namespace
}  // namespace tessary
