#pragma once

#include <string>

#include "platform/managers/file_manager.h"

// Paths that a user names: relative or absolute, through symbolic links, with "." and "..". The
// functions that return false put a one-line problem into `*problem` and leave the other
// out-arguments as they were.
namespace tessary {

// Resolves links on the way to the last component, but not the last component itself: a link is an
// item of its own. A path that ends in "/", "." or ".." names a folder and is resolved completely.
// Returns the statuses of ResolveNamedPath. `*path` is absolute, and written on success only.
Status ResolveItemPath(const std::string& named, std::string* path);

// Opens the folder that is named as a run's source, following links. Returns false if there is no
// such folder. Whether it can be read is not checked: a run may read another folder in its place.
bool OpenSource(const std::string& named, FSRef* source, std::string* problem);

// Returns true if a run can list `source`, which was opened or derived from the folder `named`. The
// engine would treat a folder that it cannot list as an empty one.
bool CheckRunSource(const FSRef& source, const std::string& named, std::string* problem);

// Finds the path, without links, that the folder named as a run's destination has, or will have
// when it is created. Creates nothing. Returns false if there is no such folder and none can be
// created.
bool FindDestinationPath(const std::string& named, std::string* path, std::string* problem);

// Opens the folder that is named as a run's destination, following links. Creates it if its parent
// exists. Returns false if there is no such folder and none can be created, and if it is not a
// folder.
bool FindOrCreateDestination(const std::string& named, FSRef* destination, std::string* problem);

}  // namespace tessary
