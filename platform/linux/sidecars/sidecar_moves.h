#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/managers/status.h"

// An item and its sidecar, the "._" file beside it, which go the same way or not at all. Whatever
// fails, both are where they were; a maker that dies in between is mended
// (platform/linux/sidecars/sidecar_recovery.h). What is at the target under the sidecar's new name
// is never touched and answered as dupFNErr, like what is there under the item's.
namespace tessary {

// An item that has a sidecar, in the folder open as `folder`.
struct ItemWithSidecar {
  int folder = -1;
  std::string name;
  struct statx item = {};
  struct statx sidecar = {};
  std::string path = {};  // of the folder, where the two are to leave it
};

// Where a pair goes, as its item's copy would, and the path of the folder there.
struct TargetWithPath : CopyTarget {
  std::string path;
};

// The item at a place together with its sidecar; none where it has none, which is known without a
// look where no "._" name has been seen in its folder. Only a file is a sidecar, and a sidecar has
// none of its own. noErr, fnfErr (there is no item), else what the file system reports; `*pair` is
// written on success only, and refers to the place's folder; its path is left to the caller.
Status FindWithSidecar(const Place& place, std::optional<ItemWithSidecar>* pair);

// Renames both. The statuses are those of RenameWithoutReplacing and of writing a file.
Status MoveWithSidecar(const ItemWithSidecar& pair, const TargetWithPath& target);

// The statuses are those of CopyItem and of MoveItemAcrossFilesystems. The sidecar's copy is one to
// the byte and to the attribute.
Status CopyWithSidecar(const ItemWithSidecar& pair, const TargetWithPath& target);
Status MoveWithSidecarAcrossFilesystems(const ItemWithSidecar& pair, const TargetWithPath& target);

// Deletes the item by `removeItem`, and the sidecar with it. That gets a name under which the item
// may be put aside, and a call that is to be made when nothing keeps the item any more: it deletes
// the sidecar, and where that fails the item has to stay. The statuses are those of `removeItem`
// and of renaming the sidecar.
using DeleteSidecar = std::function<Status()>;
using RemoveItem = std::function<Status(const std::string& asideName, const DeleteSidecar&)>;
Status DeleteWithSidecar(const ItemWithSidecar& pair, const RemoveItem& removeItem);

}  // namespace tessary
