#pragma once

#include <sys/stat.h>

#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/copy_metadata.h"
#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/temp_item.h"

namespace tessary {

// A published copy that is taken back unless it is kept.
struct CopiedItem {
  struct statx source = {};  // the original as it was copied
  Manifest manifest;         // the same of a folder and all that is in it
  struct statx made = {};    // the copy of a file as it was made, still empty
  TempItem item;
  bool isAnyDropped = false;  // the volume had no place for an attribute
};

// noErr when the name can be that of an item, else bdNamErr.
Status CheckItemName(const std::string& name);

// Finds the object and whether it is still the one meant, or was when it was seen. noErr, fnfErr,
// paramErr (it is no file, folder or link), else what the file system reports. `*info` is written
// on success only.
Status FindSource(const CopySource& source, struct statx* info);

// Copies the item in the role kCopiedItem or kMovedItem and publishes it. The statuses are those of
// CopyItem; `*copied` is written on success only.
Status PublishCopy(const CopySource& source, const CopyTarget& target, CopyRole role,
                   CopiedItem* copied);

// The same of a file in the role kCopiedItem, for who has not looked at either name: whether it is
// the one that is meant is asked of what its name has opened, and a taken name is found out first.
// paramErr, too, for a file that is too big to be copied in vain where something else fails.
// `*copied`, an empty one before, is of no use on failure.
Status PublishSmallCopy(const CopySource& source, const CopyTarget& target, CopiedItem* copied);

}  // namespace tessary
