#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/managers/status.h"

// Moves, copies and deletes an item together with its sidecar, the "._" file beside it: both or
// neither. On failure both are where they were. After a crash, recovery completes the operation or
// rolls it back (sidecar_journal.h). An object that has the new name of the item or of the sidecar
// is never touched: the status is then dupFNErr.
namespace tessary {

// An item that has a sidecar, in the folder open as `folder`. Both are as they were when they were
// found.
struct ItemWithSidecar {
  int folder = -1;
  std::string name;
  struct statx item = {};
  struct statx sidecar = {};
  std::string path = {};  // of the folder; needed only to move both
};

// Where the item goes, and the path of the folder.
struct TargetWithPath : CopyTarget {
  std::string path;
};

// Finds the item at a place together with its sidecar. None if it has no sidecar, without a system
// call if no "._" name has been seen in its folder. Only a regular file is a sidecar, and a sidecar
// has none of its own. Returns noErr; fnfErr (no such item); otherwise what the filesystem reports.
// `*found` is written on success only; it uses the place's descriptor, and its path is empty.
Status FindWithSidecar(const Place& place, std::optional<ItemWithSidecar>* found);

// Renames both. Returns the statuses of RenameWithoutReplacing and of writing a file.
Status MoveWithSidecar(const ItemWithSidecar& source, const TargetWithPath& target);

// Return the statuses of CopyItem and of MoveItemAcrossFilesystems. The copy of the sidecar has all
// its bytes and attributes.
Status CopyWithSidecar(const ItemWithSidecar& source, const TargetWithPath& target);
Status MoveWithSidecarAcrossFilesystems(const ItemWithSidecar& source,
                                        const TargetWithPath& target);

// Deletes both. `removeItem` deletes the item; it receives the name under which it may stage the
// item. Returns the status of `removeItem`, or of renaming the sidecar. A sidecar that cannot be
// deleted after its item is left to recovery.
using RemoveItem = std::function<Status(const std::string& stagedName)>;
Status DeleteWithSidecar(const ItemWithSidecar& source, const RemoveItem& removeItem);

}  // namespace tessary
