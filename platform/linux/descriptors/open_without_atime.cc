#include "platform/linux/descriptors/open_without_atime.h"

#include <fcntl.h>

#include <cerrno>

namespace tessary {

UniqueFd OpenWithoutAtime(int folder, const char* name, int flags) {
  const int readFlags = flags | O_RDONLY | O_CLOEXEC;
  UniqueFd opened(openat(folder, name, readFlags | O_NOATIME));
  // Only the owner, or a process with CAP_FOWNER, may use O_NOATIME. Other users' files are read
  // with a changed access time.
  if (!opened && errno == EPERM) opened.Reset(openat(folder, name, readFlags));
  return opened;
}

}  // namespace tessary
