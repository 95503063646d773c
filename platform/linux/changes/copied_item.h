#pragma once

#include <sys/stat.h>

#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/temp_item.h"

namespace tessary {

// A published copy of an item. It is removed again when this is destroyed, unless `item` is kept.
struct CopiedItem {
  struct statx source = {};   // the source when it was copied
  Manifest manifest;          // of a folder: everything below it when it was copied
  struct statx made = {};     // of a file: the copy when it was created, still empty
  TempItem item;              // owns the copy
  bool isAnyDropped = false;  // the target filesystem cannot store one or more of the attributes
};

}  // namespace tessary
