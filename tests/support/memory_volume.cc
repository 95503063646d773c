#include "tests/support/memory_volume.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/volume.h"

namespace tessary::test {

MemoryVolume::MemoryVolume(const std::string& options) {
  isMounted_ = mount("tmpfs", path().c_str(), "tmpfs", MS_NODEV, options.c_str()) == 0;
  // The new filesystem may have the device number of one that was unmounted.
  ForgetVolumes();
  ForgetProbeResults();
}

MemoryVolume::~MemoryVolume() {
  // Detached, as a descriptor on it may still be open.
  if (isMounted_) {
    EXPECT_EQ(0, umount2(path().c_str(), MNT_DETACH)) << path();
  }
}

void MemoryVolume::MakeReadOnly() {
  EXPECT_EQ(0, mount(nullptr, path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr)) << path();
}

std::string MemoryFolder() {
  constexpr char kSharedMemory[] = "/dev/shm";
  return access(kSharedMemory, W_OK | X_OK) == 0 ? kSharedMemory
                                                 : std::filesystem::temp_directory_path().string();
}

}  // namespace tessary::test
