#pragma once

#include <sys/stat.h>

#include "platform/linux/catalog/place.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/operations/target.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/status.h"

// The two ways to move an item. If the kernel cannot rename between the folders, the item is copied
// and then deleted. Return the statuses of FSMoveObjectSync.
namespace tessary {

// Moves an item with its sidecar.
Status RenameOrCopyWithSidecar(const ItemWithSidecar& item, const TargetWithPath& target);

// Moves an item alone. `source` and `from` are its place, `info` its stat result. `*isRenamed` is
// set to whether the object has been renamed, not copied.
Status RenameOrCopy(const CopySource& source, const Place& from, const struct statx& info,
                    const Target& to, bool* isRenamed);

}  // namespace tessary
