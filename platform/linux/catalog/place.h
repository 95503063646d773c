#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/catalog/folder_table.h"

namespace tessary {

// How an object would come to its place in a dry run (planned_items.h).
enum class PlannedState : uint8_t {
  kNone,       // nothing is planned: the object is there
  kNewFolder,  // a folder that does not exist; its place has no other use than to have a name
  // For the others, the place is where the object, or the original of a copy, is now.
  kMoved,
  kMovedAcrossFilesystems,
  kCopied,             // a copy does not have its original's comment
  kWithoutAttributes,  // as the two before, to a filesystem that has no attributes
};

// Where an object is found: a name in a folder that is held open. System calls use the descriptor
// and the name, so a folder that is renamed or replaced meanwhile cannot lead them elsewhere.
struct Place {
  FolderHandle folder;
  std::string name;
  bool mayHaveSidecar = false;  // a "._" name has been seen in the folder
  PlannedState planned = PlannedState::kNone;

  int descriptor() const { return folder->get(); }

  // Returns a path through /proc/self/fd, for system calls that take no folder descriptor. Valid
  // while the place exists, and only if /proc is mounted.
  std::string ProcessPath() const;
};

}  // namespace tessary
