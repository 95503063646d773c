#pragma once

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {

// Opens (`folder`, `name`) for reading, with close-on-exec and the additional openat `flags`, so
// that reading does not change the access time if this process may prevent that. Returns an empty
// descriptor on failure, with errno set.
UniqueFd OpenWithoutAtime(int folder, const char* name, int flags);

}  // namespace tessary
