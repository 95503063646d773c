#pragma once

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {

// Opens (`folder`, `name`) for reading, with the other `flags` of openat and not passed on to other
// programs, so that reading leaves the date of the last access alone. Only the owner may ask for
// that; for others it is opened all the same. None, with errno, where it cannot be opened.
UniqueFd OpenWithoutAtime(int folder, const char* name, int flags);

}  // namespace tessary
