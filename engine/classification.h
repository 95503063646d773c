#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// True when the item is an application, a bundle or a single file. False where it cannot be read.
bool IsApplicationItem(const FSRef& item);

// True when the item is a folder and no package. Only these count as folders in a run: a package is
// filed whole and never entered, and an item that cannot be read is filed like a file.
// `*isUnknown`, where it is given, tells whether the item could not be read; it is written always.
bool IsPlainFolder(const FSRef& item, bool* isUnknown = nullptr);

}  // namespace tessary
