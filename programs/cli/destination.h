#pragma once

#include <string>

namespace tessary {

// Finds the folder that the user named as the destination, and makes it where it is missing and its
// parent is there. False when there is no such folder and none can be made, and when it is no
// folder; `*problem` is then one line. Nothing was made then, unless it is the path of what was
// made that cannot be told. `*path`, links resolved, is written on success only.
bool FindOrCreateDestination(const std::string& named, std::string* path, std::string* problem);

}  // namespace tessary
