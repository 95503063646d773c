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

// Makes the reference of the object that was just created at the target, or moved or copied to it.
// `known` is what is known about the object; its inode number is 0 if its identity is not known. If
// the object cannot be looked up, the reference is made from what is known: what has been done must
// not be reported as a failure.
FSRef MakeTargetRef(const Target& target, const struct statx& known);

// As MakeTargetRef, but looks the object up only where inode numbers may change, which saves a
// system call per item. If another program replaces the object meanwhile, the reference does not
// match the replacement, and every use of it is refused.
FSRef MakeTargetRefFast(const Target& target, const struct statx& known);

// Returns what is known about a copy of the object at the target: everything but its identity.
struct statx InfoOfCopy(const struct statx& original, const Target& target);

}  // namespace tessary
