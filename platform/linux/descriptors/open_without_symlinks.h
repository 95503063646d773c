#pragma once

#include <string>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {

// Opens the folder at an absolute path of any length, for *at() calls only (O_PATH), without
// following a symbolic link or a link of /proc in any component. On failure returns an empty
// descriptor and sets errno, to ELOOP for a link.
UniqueFd OpenFolderWithoutSymlinks(const std::string& path);

}  // namespace tessary
