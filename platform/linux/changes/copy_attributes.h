#pragma once

#include <sys/types.h>

#include <optional>

#include "platform/linux/catalog/creation_date.h"
#include "platform/managers/status.h"

// Extended attributes and access control lists, from one open file or folder to another.
namespace tessary {

struct AttributesCopied {
  std::optional<AttributeDate> creationDate;  // that the original carries in one of them
  bool isAnyDropped = false;   // the target's volume has no place for one or more of them
  bool hasAccessList = false;  // the original has more permissions than a mode holds
  // The permissions of the group, where an access control list that says more had to be dropped.
  std::optional<mode_t> groupMode;
};

// Of the open file or folder `from`, whose mode is `mode`, copies the user's attributes, access
// control lists and, where this process may set them, file capabilities and trusted attributes.
// Labels of the security modules and what else a file system shows as an attribute of its own are
// the target system's affair. An access control list that `to` has inherited from its folder is
// removed where `from` has none. Where `omitsComment`, the comment is left out, and what a Mac
// keeps one in comes with an empty one. Attributes of HFS and HFS+ that the target's volume has no
// place for get one that it has; others are dropped. noErr; ioErr or dskFulErr where one does not
// fit; else what the file system reports. `*copied` is written on success only.
Status CopyAttributes(int from, mode_t mode, int to, bool omitsComment, AttributesCopied* copied);

}  // namespace tessary
