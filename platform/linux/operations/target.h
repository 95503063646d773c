#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/linux/catalog/place.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {

// The folder into which an operation puts an object, and the object's name there.
struct Target {
  uint32_t folder = 0;  // the number of the interned folder
  Identity identity;    // of the folder
  Place place;
};

// Opens `folder` and works out the name: `newName`, or `ownName` if that is null, with the
// characters that the filesystem refuses replaced. Errors: errFSNotAFolder, fnfErr, bdNamErr
// (`newName` cannot be a name), else the status of opening the folder.
Status FindTarget(const FSRef& folder, const std::u16string* newName, const std::string& ownName,
                  Target* target);

CopySource CopySourceOf(const FSRef& ref, const Place& place);

CopyTarget CopyTargetOf(const Target& target);

// Calls `transfer` to move or copy an item with its sidecar and, on success, notes that the target
// folder has sidecars. Returns the status of `transfer`.
Status TransferWithSidecar(const ItemWithSidecar& item, const Target& target,
                           Status (*transfer)(const ItemWithSidecar&, const TargetWithPath&));

// Looks up the object that is now at the target and makes its reference. `*ref` is written on
// success only.
Status MakeTargetRef(const Target& target, FSRef* ref);

// Makes the reference of an object that was just moved or copied to the target, from its known
// `info`. On filesystems with reliable directory entries this saves the lookup and is safer: if
// another program has replaced the object since, the reference does not match the replacement, and
// every use of it is refused. Elsewhere the inode number may have changed, so it is looked up.
Status MakeTargetRefFromStat(const struct statx& info, const Target& target, FSRef* ref);

}  // namespace tessary
