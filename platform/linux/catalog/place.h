#pragma once

#include <string>

#include "platform/linux/catalog/folder_table.h"

namespace tessary {

// A name in a folder that is held open: where an object is found.
struct Place {
  FolderHandle folder;
  std::string name;
  bool mayHaveSidecar = false;  // a name beginning "._" has been seen in the folder

  int descriptor() const { return folder->get(); }

  // A path to the object for calls that take no folder's descriptor. Good while the place is held.
  std::string ProcessPath() const;
};

}  // namespace tessary
