#pragma once

#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// Notes what happens to the names in a folder while it lives.
class WatchedFolder {
 public:
  explicit WatchedFolder(const std::string& path);

  // False where the kernel tells nothing of this folder.
  bool IsWatched() const { return isWatched_; }

  // Every removal of, renaming from or onto, writing into and change of mode of what bears the
  // name, in their order since the last question.
  std::vector<std::string> ChangesOf(const std::string& name) const;

 private:
  UniqueFd events_;
  bool isWatched_ = false;
};

}  // namespace tessary::test
