#pragma once

#include <string>

namespace tessary {

// Finds the folder that the user named as the source, and checks that a run could read what it is
// to file: the folder or, of an application, its resources. False where it could not; `*problem` is
// then one line. `*path`, links resolved, is written on success only.
bool FindSource(const std::string& named, std::string* path, std::string* problem);

}  // namespace tessary
