#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// Returns true if the item is an application: a bundle or a single file. Returns false if the item
// cannot be read.
bool IsApplicationItem(const FSRef& item);

// Returns true if the item is a folder that is not a package. Only these count as folders in a run:
// a package is filed whole and never entered, and an item that cannot be read is filed like a file.
// `*status`, if not null, is always written: why the item cannot be read, or noErr.
bool IsPlainFolder(const FSRef& item, Status* status = nullptr);

}  // namespace tessary
