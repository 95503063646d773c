#pragma once

#include <vector>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// The folders from a top folder down to the one that a walk has reached, as descriptors. Only the
// innermost levels are kept open. An outer one is reopened through ".." and must have the identity
// that it had. So the number of descriptors is bounded whatever the depth, and no path, which
// another program could change or which could be too long, is ever resolved.
class FolderChain {
 public:
  // `top` is borrowed and must stay open.
  explicit FolderChain(int top) : top_(top) {}

  // The innermost folder.
  int fd() const { return levels_.empty() ? top_ : levels_.back().folder.get(); }

  // Enters `folder`, a child of the innermost one.
  void Push(UniqueFd folder, const Identity& identity);

  // Leaves the innermost folder, which must not be the top, and returns it in `*left`.
  // Errors: fBsyErr (the folder has been moved elsewhere); otherwise the status of the failed
  // system call.
  Status Pop(UniqueFd* left);

 private:
  struct Level {
    UniqueFd folder;  // closed in outer levels
    Identity identity;
  };

  int top_;
  std::vector<Level> levels_;
};

}  // namespace tessary
