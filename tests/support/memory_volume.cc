#include "tests/support/memory_volume.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/volume.h"

namespace tessary::test {

MemoryVolume::MemoryVolume(const std::string& options) {
  isMounted_ = mount("tmpfs", path().c_str(), "tmpfs", MS_NODEV, options.c_str()) == 0;
  // It may have the device number of one that is gone.
  ForgetVolumes();
  ForgetProbeResults();
}

MemoryVolume::~MemoryVolume() {
  // Detached, so that a descriptor that is still open on it cannot keep it in the way.
  if (isMounted_) {
    EXPECT_EQ(0, umount2(path().c_str(), MNT_DETACH)) << path();
  }
}

void MemoryVolume::MakeReadOnly() {
  EXPECT_EQ(0, mount(nullptr, path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr)) << path();
}

}  // namespace tessary::test
