#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

#include "platform/linux/catalog/volume.h"
#include "tests/support/copying.h"
#include "tests/support/refused_calls.h"
#include "tests/support/volumes.h"

namespace tessary {
namespace {

// Its driver is told by the mount alone, and nobody knows what may not be in a name there.
TEST(VolumeOf, TakesAVolumeWhoseMountIsGoneForAPlainOne) {
  const testing::ScratchVolume volume(testing::VolumeKind::kExfat);
  if (!volume.IsThere()) GTEST_SKIP() << volume.WhyNot();
  const UniqueFd folder = testing::OpenFolder(volume.path());
  const uint32_t device = testing::IdentityAt(folder.get(), "").device;
  // In a process whose mounts are its own: without any call refused.
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

}  // namespace
}  // namespace tessary
