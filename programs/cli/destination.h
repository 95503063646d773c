#pragma once

#include <string>

#include "platform/managers/file_manager.h"

namespace tessary {

// Opens the folder that the user named as the destination of a run on `source`, and makes it where
// it is missing and its parent is there. False when there is no such folder and none can be made,
// when it is no folder, and when it is the source; `*problem` is then one line, and nothing was
// made. `*destination` is written on success only.
bool OpenDestination(const std::string& named, const FSRef& source, FSRef* destination,
                     std::string* problem);

}  // namespace tessary
