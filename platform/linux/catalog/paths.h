#pragma once

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

namespace tessary {

// Finds the place that an absolute path leads to: its last component in the interned folder above.
// In a run, a folder that was interned for that path is used as it was verified then; otherwise
// links above the last component are followed. Answers noErr, fnfErr, dirNFErr, bdNamErr, paramErr
// (no absolute path), else what opening the folder answers. `*folder` is its number, `*name` the
// last component; both are written on success only. The path "/" gives number 0 and no name.
Status FindPlaceOfPath(const std::string& path, uint32_t* folder, std::string* name);

}  // namespace tessary
