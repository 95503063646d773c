#pragma once

#include <string>

#include "platform/managers/status.h"

namespace tessary {

// The absolute path of the folder that holds what the user sets, without a slash at its end: the
// folder "tessary" in $XDG_CONFIG_HOME. Where that is unset, empty or a relative path, in ".config"
// of $HOME; and where that is unset, empty or relative too, of the home folder that the system's
// list of users names, or of the root folder where it names none. The environment is read at every
// call. The folder need not exist.
std::string ConfigFolder();

// Makes the configuration folder and what is missing above it, for their user alone (mode 0700).
// noErr when it is there; else what the file system reports.
Status MakeConfigFolder();

}  // namespace tessary
