#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// Reads the names in the folder open for reading as `folder`, except "." and "..". They are sorted
// by their bytes, so that two listings of an unchanged folder agree. Only names that `isWanted`
// accepts are returned; null accepts all. Moves the descriptor's file offset. Returns noErr or what
// the filesystem reports; `*names` is written on success only.
using NameFilter = std::function<bool(std::string_view name)>;
Status ReadFolderNames(int folder, const NameFilter& isWanted, std::vector<std::string>* names);

}  // namespace tessary
