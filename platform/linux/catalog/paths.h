#pragma once

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

namespace tessary {

// Splits an absolute path into the interned folder above the last component, and the last
// component. If a folder was interned for the path above, that folder is used: the engine makes a
// path from a reference and comes back with it, and must not be led elsewhere by a swapped path.
// Otherwise links above the last component are followed. Returns noErr; fnfErr; dirNFErr; bdNamErr;
// paramErr (not an absolute path); otherwise a filesystem error. `*folder` is the folder's number
// and `*name` the last component, both written on success only. The path "/" gives number 0 and the
// empty name.
Status FindPlaceOfPath(const std::string& path, uint32_t* folder, std::string* name);

}  // namespace tessary
