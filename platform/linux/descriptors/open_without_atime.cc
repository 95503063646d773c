#include "platform/linux/descriptors/open_without_atime.h"

#include <fcntl.h>

#include <cerrno>

namespace tessary {

UniqueFd OpenWithoutAtime(int folder, const char* name, int flags) {
  const int all = flags | O_RDONLY | O_CLOEXEC;
  UniqueFd opened(openat(folder, name, all | O_NOATIME));
  if (!opened && errno == EPERM) opened.Reset(openat(folder, name, all));
  return opened;
}

}  // namespace tessary
