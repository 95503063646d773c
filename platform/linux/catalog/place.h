#pragma once

#include <string>

#include "platform/linux/catalog/folder_table.h"

namespace tessary {

// Where an object is found: a name in a folder that is held open. System calls use the descriptor
// and the name, so a folder that is renamed or replaced meanwhile cannot lead them elsewhere.
struct Place {
  FolderHandle folder;
  std::string name;
  bool mayHaveSidecar = false;  // a "._" name has been seen in the folder

  int descriptor() const { return folder->get(); }

  // Returns a path through /proc/self/fd, for system calls that take no folder descriptor. Valid
  // while the place exists, and only if /proc is mounted.
  std::string ProcessPath() const;
};

}  // namespace tessary
