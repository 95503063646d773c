#pragma once

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_manager.h"

namespace tessary {

// Reads the Finder information of the object at a place, whose kind is `kind`. It comes from the
// first form that holds any: an attribute (mac_formats/finder_info_forms.h), then the sidecar. All
// zero if there is none, and for links and special files. `*origin`, unless null, receives the name
// of the attribute or sidecar, or the empty text. Costs one listing of the attributes, and no more
// if none of them holds Finder information and the folder has no sidecars. Returns noErr; otherwise
// a filesystem error. Nothing is written on failure.
Status ReadFinderInfo(const Place& place, NodeKind kind, FileInfo* info,
                      ExtendedFileInfo* extendedInfo, std::string* origin = nullptr);

}  // namespace tessary
