#include "platform/linux/catalog/volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

// A device number that does not exist.
constexpr uint32_t kDevice = 0xFFFFFFFF;

TEST(VolumeOf, CachedUntilNextPool) {
  const UniqueFd memory = OpenFolder("/dev/shm");
  const UniqueFd processes = OpenFolder("/proc");
  const NSAutoreleasePool first;
  if (!VolumeOf(kDevice, memory.get()).hasReliableEntries)
    GTEST_SKIP() << "/dev/shm is not a tmpfs here";
  EXPECT_TRUE(VolumeOf(kDevice, processes.get()).hasReliableEntries);
  EXPECT_TRUE(VolumeAt(kDevice, "/proc").hasReliableEntries);
  const NSAutoreleasePool second;
  EXPECT_FALSE(VolumeOf(kDevice, processes.get()).hasReliableEntries);
}

// A FUSE driver is known only from the mount table. Without an entry there, names count as
// unrestricted.
TEST(VolumeOf, UnmountedCountsAsPlain) {
  const ScratchVolume volume(VolumeKind::kExfat);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const UniqueFd folder = OpenFolder(volume.path());
  const uint32_t device = IdentityAt(folder.get(), "").device;
  // Each in its own process, the second in its own mount namespace. No error is injected.
  EXPECT_TRUE(RunWithInjectedErrors(
      {}, [&] { EXPECT_TRUE(VolumeOf(device, folder.get()).hasWindowsNames); }));
  EXPECT_TRUE(RunWithInjectedErrors({}, [&] {
    std::filesystem::path point = volume.path();
    ASSERT_EQ(0, unshare(CLONE_NEWNS));
    while (umount2(point.c_str(), MNT_DETACH) != 0) {
      ASSERT_TRUE(point.has_relative_path());
      point = point.parent_path();
    }
    EXPECT_FALSE(VolumeOf(device, folder.get()).hasWindowsNames);
  }));
}

TEST(ProbeResults, LastUntilNextPool) {
  RememberProbeResult(kDevice, ProbeResult::kNoReflink, 1);
  EXPECT_TRUE(HasProbeResult(kDevice, ProbeResult::kNoReflink, 1));
  EXPECT_FALSE(HasProbeResult(kDevice, ProbeResult::kNoReflink));
  EXPECT_FALSE(HasProbeResult(kDevice, ProbeResult::kNoReliableHardLinks, 1));
  EXPECT_TRUE(HasProbeResultAnywhere(ProbeResult::kNoReflink));
  const NSAutoreleasePool pool;
  EXPECT_FALSE(HasProbeResult(kDevice, ProbeResult::kNoReflink, 1));
  EXPECT_FALSE(HasProbeResultAnywhere(ProbeResult::kNoReflink));
}

}  // namespace
}  // namespace tessary::test
