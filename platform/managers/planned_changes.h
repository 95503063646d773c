#pragma once

#include <cstdint>
#include <vector>

#include "platform/managers/autorelease_pool.h"

// Dry runs.
namespace tessary {

// A filesystem on which a dry run has planned more than fits.
struct FSSpaceShortage {
  uint64_t needed = 0;     // bytes
  uint64_t available = 0;  // bytes, to this user
};

// While an object of this class exists, the functions of file_manager.h that change a filesystem
// change none: they check what can be known without trying, and plan the change. All other
// functions, the listings among them, then see the folders as they would be. No comment is written
// either. What a crash has left is not recovered.
//
// The functions return the statuses that they would return otherwise, as far as the permissions of
// the folders and files, the names and the kinds of the objects determine them. They do not foresee
// a lack of space, other programs, damaged filesystems, and attributes that do not fit. The order
// of a listing with planned objects is not that of the filesystem.
//
// For one run. At most one object exists at a time. References that were made during its lifetime
// are not valid afterwards.
class FSPlannedChanges {
 public:
  FSPlannedChanges();
  ~FSPlannedChanges();
  FSPlannedChanges(const FSPlannedChanges&) = delete;
  FSPlannedChanges& operator=(const FSPlannedChanges&) = delete;

  // Compares the space that the planned copies take with what is free now, on each filesystem.
  // Copies that would share blocks with their originals are not counted on btrfs and XFS.
  std::vector<FSSpaceShortage> FindShortages() const;

 private:
  // Releases what is known about folders that were only planned.
  NSAutoreleasePool pool_;
};

}  // namespace tessary
