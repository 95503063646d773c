#pragma once

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// A small volume in memory, mounted in a temporary folder while it lives. Where this process may
// not mount, or the kernel does not know the options, it is not mounted.
class MemoryVolume {
 public:
  // `options` as the kernel takes them for a tmpfs: "size=64k".
  explicit MemoryVolume(const std::string& options);
  ~MemoryVolume();
  MemoryVolume(const MemoryVolume&) = delete;
  MemoryVolume& operator=(const MemoryVolume&) = delete;

  bool IsMounted() const { return isMounted_; }

  // Makes the volume read-only; fails the test where that cannot be done.
  void MakeReadOnly();

  const std::string& path() const { return folder_.path(); }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  bool isMounted_ = false;
};

}  // namespace tessary::test
