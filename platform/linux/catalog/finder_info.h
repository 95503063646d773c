#pragma once

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_manager.h"

namespace tessary {

// Reads the Finder information of the object at a place, of the kind that it is known to have, from
// its attribute; all zero where it has none, as no link and no special file has. One listing of its
// attributes, and nothing more where they hold none. Answers noErr, or the failure of reading.
// Nothing is written on failure.
Status ReadFinderInfo(const Place& place, NodeKind kind, FileInfo* info,
                      ExtendedFileInfo* extendedInfo);

}  // namespace tessary
