#pragma once

#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// Records changes to the entries of a folder by inotify.
class WatchedFolder {
 public:
  explicit WatchedFolder(const std::string& path);

  // False if the filesystem does not support inotify.
  bool IsWatched() const { return isWatched_; }

  // The event masks, in order, of every deletion, rename from or to, write and attribute change of
  // the entry since the last call.
  std::vector<std::string> ChangesOf(const std::string& name) const;

 private:
  UniqueFd events_;
  bool isWatched_ = false;
};

}  // namespace tessary::test
