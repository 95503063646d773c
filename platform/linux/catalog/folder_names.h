#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// The names in the folder open for reading as `folder`, without "." and "..", sorted by their bytes
// so that two listings of an unchanged folder agree; only those that `isWanted` accepts, where it
// is not null. noErr, else what the file system reports; `*names` is set on success only. The
// descriptor's own reading position is used.
Status ReadFolderNames(int folder, bool (*isWanted)(std::string_view name),
                       std::vector<std::string>* names);

}  // namespace tessary
