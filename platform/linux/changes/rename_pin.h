#pragma once

#include <sys/stat.h>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {

// Recognises an object after it has been renamed on an overlay: the rename copies a file of a lower
// layer up, and the copy has another inode number or birth time. Costs nothing while no overlay is
// known.
class RenamePin {
 public:
  // Opens (`folder`, `name`) before the rename. The object stays open while this exists.
  RenamePin(int folder, const char* name);

  // If `renamed`, the stat result of an object after the rename, is that of the pinned object, sets
  // its identity to what it was before.
  void RestoreIdentity(struct statx* renamed) const;

 private:
  UniqueFd pin_;  // empty if it is not needed
  struct statx before_ = {};
};

}  // namespace tessary
