#pragma once

#include <string>

#include "platform/managers/file_manager.h"

// Paths that a user names: relative or absolute, through symbolic links, with "." and "..". The
// functions that return false put a one-line problem into `*problem` and leave the other
// out-arguments as they were.
namespace tessary {

// Opens the folder that is named as a run's source, following links. False if there is no such
// folder. Whether it can be read is not checked: a run may read another folder in its place.
bool OpenSource(const std::string& named, FSRef* source, std::string* problem);

// Checks that a run can list `source`, which was opened or derived from the folder `named`. False
// if it cannot: the engine would take such a folder for an empty one.
bool CheckRunSource(const FSRef& source, const std::string& named, std::string* problem);

// Opens the folder that is named as a run's destination, following links. Creates it if only its
// last component is missing. False if there is no such folder and none can be created, and if it is
// not a folder.
bool FindOrCreateDestination(const std::string& named, FSRef* destination, std::string* problem);

}  // namespace tessary
