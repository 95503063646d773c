#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/change_observer.h"

// Reverses the changes of a run one by one, as they were recorded through a ChangeObserver. The
// records need not be true: nothing is overwritten, no symbolic link in a path is followed, and
// nothing is deleted except an empty folder and a second copy of what the original path still has,
// byte by byte.
namespace tessary {

// An item that a run has moved or copied.
struct FiledItem {
  struct Place {
    std::string path;
    ObjectState state;        // that of the item there; inode number 0 if its identity is not known
    std::string stagingUuid;  // of the change that has put it there (ChangeObserver::StagingUuid)
  };

  std::string original;       // the path before the run
  ObjectState originalState;  // as it was found there
  std::vector<Place> places;  // where the run has put it, the last one last; at least one
  bool isCopy = false;
  bool hasSidecar = false;
};

// A folder that a run has created.
struct CreatedFolder {
  std::string path;
  std::optional<ObjectState> state;  // none if its identity is not known
};

enum class ReversalOutcome {
  kMovedBack,
  kCopyDeleted,  // also the second one of two copies of an item that was moved
  kFolderRemoved,
  kNothingToDo,  // the change was not made, or has been reversed already
  // The change stays:
  kChanged,          // the object has changed, or another one has its name
  kMissing,          // the item is not where the run has put it
  kOriginalChanged,  // a copy whose original is gone or has changed
  kNameUsed,         // another object has the original path
  kFolderNotEmpty,
  kLinkInPath,  // a folder on the way has been replaced by a symbolic link
  kFailed,
};

struct Reversal {
  ReversalOutcome outcome = ReversalOutcome::kFailed;
  Status status = noErr;  // of kFailed
};

class ChangeReversal {
 public:
  ChangeReversal() = default;
  ChangeReversal(const ChangeReversal&) = delete;
  ChangeReversal& operator=(const ChangeReversal&) = delete;
  virtual ~ChangeReversal() = default;

  // Moves the item back to its original path, with its sidecar, or deletes the copy. Can be killed
  // at any moment and called again for the same item, and then does the rest. Returns kMovedBack,
  // kCopyDeleted, kNothingToDo, or why the change stays.
  virtual Reversal ReverseItem(const FiledItem& item) = 0;

  // Removes the folder if it is empty. Returns kFolderRemoved, kNothingToDo (it is gone already),
  // kChanged, kFolderNotEmpty, kLinkInPath or kFailed.
  virtual Reversal RemoveFolder(const CreatedFolder& folder) = 0;
};

// Makes a reversal. With `isDryRun`, it changes nothing and returns what a real one would.
std::unique_ptr<ChangeReversal> MakeChangeReversal(bool isDryRun);

}  // namespace tessary
