#pragma once

#include <vector>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// The way from a folder down to one below it, as descriptors. Only the innermost levels are held
// open; an outer one is opened again by way of ".." and must still be the folder that it was. So
// the depth of a tree costs no descriptors, and no path is ever looked up.
class FolderChain {
 public:
  // `top` is borrowed and stays open.
  explicit FolderChain(int top) : top_(top) {}

  // The innermost folder.
  int fd() const { return levels_.empty() ? top_ : levels_.back().folder.get(); }

  // Goes down into `folder`, a child of the innermost one.
  void Push(UniqueFd folder, const Identity& identity);

  // Goes up again and hands out the folder that was left. noErr; fBsyErr (the folder left is not
  // where it was, somebody moved it); else what the file system reports.
  Status Pop(UniqueFd* left);

 private:
  struct Level {
    UniqueFd folder;
    Identity identity;
  };

  int top_;
  std::vector<Level> levels_;
};

}  // namespace tessary
