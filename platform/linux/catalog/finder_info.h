#pragma once

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_manager.h"

namespace tessary {

// Reads the Finder information of the object at a place, of the kind that it is known to have, from
// the first form that holds any: an attribute (mac_formats/finder_info_forms.h), else its sidecar.
// All zero where it has none, as no link and no special file has. One listing of its attributes,
// and nothing more where they hold none and its folder no sidecars. `*origin`, where it is not
// null, is the name of the attribute or sidecar, empty for none. Answers noErr, or the failure of
// reading. Nothing is written on failure.
Status ReadFinderInfo(const Place& place, NodeKind kind, FileInfo* info,
                      ExtendedFileInfo* extendedInfo, std::string* origin = nullptr);

}  // namespace tessary
