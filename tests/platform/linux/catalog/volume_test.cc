#include "platform/linux/catalog/volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

#include "platform/linux/catalog/volume_memory.h"
#include "platform/linux/unique_fd.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/copying.h"
#include "tests/support/refused_calls.h"
#include "tests/support/volumes.h"

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

// Its driver is told by the mount alone, and nobody knows what may not be in a name there.
TEST(VolumeOf, TakesAVolumeWhoseMountIsGoneForAPlainOne) {
  const testing::ScratchVolume volume(testing::VolumeKind::kExfat);
  if (!volume.IsThere()) GTEST_SKIP() << volume.WhyNot();
  const UniqueFd folder = testing::OpenFolder(volume.path());
  const uint32_t device = testing::IdentityAt(folder.get(), "").device;
  // In processes of their own, one of which has mounts of its own; no call is refused.
  EXPECT_TRUE(testing::RunWithoutCalls(
      {}, [&] { EXPECT_TRUE(VolumeOf(device, folder.get()).hasWindowsNames); }));
  EXPECT_TRUE(testing::RunWithoutCalls({}, [&] {
    std::filesystem::path point = volume.path();
    ASSERT_EQ(0, unshare(CLONE_NEWNS));
    while (umount2(point.c_str(), MNT_DETACH) != 0) {
      ASSERT_TRUE(point.has_relative_path());
      point = point.parent_path();
    }
    EXPECT_FALSE(VolumeOf(device, folder.get()).hasWindowsNames);
  }));
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
