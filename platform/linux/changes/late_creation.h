#pragma once

#include <cstdint>

namespace tessary {

// Has the filesystem create the new, empty file that is open as `file` for writing, if its driver
// (rclone) would create it only some time after it has been closed. A rename or removal of the file
// before that would be undone. Call it only for a file whose contents do not matter, because the
// way to do it is to write a byte. Best effort. Returns the size of the file in bytes afterwards,
// 0 on other filesystems.
uint64_t CreateNow(int file);

}  // namespace tessary
