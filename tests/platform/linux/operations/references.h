#pragma once

#include <string>

#include "platform/managers/file_manager.h"

namespace tessary::test {

// The path of the object of `ref`; fails the test where it has none.
std::string PathOf(const FSRef& ref);

// Lists the folder at the path. The catalog learns from a listing that a folder holds sidecars.
void ListFolder(const std::string& path);

}  // namespace tessary::test
