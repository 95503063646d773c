#pragma once

namespace tessary {

// Has the filesystem create the new file that is open as `file` for writing, if its driver (rclone)
// would create it only when it is closed, and an empty one some time after that: a removal of the
// file before that would be undone. Only for a file that is about to be removed, because a byte is
// written to an empty one. Best effort. Returns true if the driver is such a one; the file should
// then be closed before it is removed.
bool CreateLateFileNow(int file);

}  // namespace tessary
