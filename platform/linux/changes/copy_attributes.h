#pragma once

#include <sys/types.h>

#include <optional>

#include "platform/linux/catalog/creation_date.h"
#include "platform/managers/status.h"

// Copies extended attributes and access control lists (ACLs) between open files or folders.
namespace tessary {

struct AttributesCopied {
  std::optional<AttributeDate> creationDate;  // the one of the best rank in the source's attributes
  bool isAnyDropped = false;   // the target filesystem cannot store one or more attributes
  bool hasAccessList = false;  // the source has an access ACL
  // Set if that ACL was dropped: the group bits that the mode of the target must get instead.
  std::optional<mode_t> groupMode;
};

// Copies from the open file or folder `from`, which has the mode `mode`, to `to`: user attributes,
// ACLs and, if this process may set them, file capabilities and trusted attributes. Security labels
// and the filesystem's own "system." attributes are not copied; they belong to the target. An ACL
// that `to` inherited from its folder is removed if `from` has none.
// With `omitsComment` the comment is left out, and comments in the formats of a Mac become empty.
// HFS and HFS+ attributes that the target cannot store are converted to a portable attribute; any
// other attribute that it cannot store is dropped. A filesystem whose driver reports EIO for the
// attributes of every object counts as one without attributes, which is logged once.
// Errors: ioErr or dskFulErr (an attribute does not fit); otherwise the status of the failed system
// call. `*copied` is written on success only.
Status CopyAttributes(int from, mode_t mode, int to, bool omitsComment, AttributesCopied* copied);

}  // namespace tessary
