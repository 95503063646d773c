#include "tests/faults/two_volumes.h"

#include <sys/stat.h>
#include <unistd.h>

namespace tessary::test {
namespace {

constexpr char kSharedMemory[] = "/dev/shm";

bool AreOnOneVolume(const std::string& first, const std::string& second) {
  struct stat one = {};
  struct stat other = {};
  return stat(first.c_str(), &one) != 0 || stat(second.c_str(), &other) != 0 ||
         one.st_dev == other.st_dev;
}

}  // namespace

TwoVolumes::TwoVolumes() {
  second_ = mounted_.IsMounted() ? mounted_.path() : OnDisk();
  if (access(kSharedMemory, W_OK | X_OK) == 0 && !AreOnOneVolume(OnDisk(), kSharedMemory)) {
    shared_ = std::make_unique<TemporaryFolder>(kSharedMemory);
    first_ = shared_->path();
    areDifferent_ = true;
  } else {
    first_ = OnDisk();
    areDifferent_ = mounted_.IsMounted();
  }
}

}  // namespace tessary::test
