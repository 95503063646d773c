#pragma once

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// A tmpfs, mounted in a temporary folder until it is destroyed. Not mounted where this process may
// not mount or the kernel does not support the options.
class MemoryVolume {
 public:
  // `options` are those of tmpfs, such as "size=64k".
  explicit MemoryVolume(const std::string& options);
  ~MemoryVolume();
  MemoryVolume(const MemoryVolume&) = delete;
  MemoryVolume& operator=(const MemoryVolume&) = delete;

  bool IsMounted() const { return isMounted_; }

  // Remounts it read-only.
  void MakeReadOnly();

  const std::string& path() const { return folder_.path(); }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  bool isMounted_ = false;
};

// The folder for test data that should be in memory: /dev/shm, or the system's temporary folder
// where there is none.
std::string MemoryFolder();

}  // namespace tessary::test
