#include "platform/linux/log/standard_error.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace tessary {
namespace {

// Standard error may be non-blocking, because other programs that have the terminal open share its
// mode.
bool WaitUntilWritable() {
  pollfd wanted = {STDERR_FILENO, POLLOUT, 0};
  return poll(&wanted, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

void WriteToStandardError(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(STDERR_FILENO, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<size_t>(count));
    } else if (errno == EAGAIN) {
      if (!WaitUntilWritable()) return;
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace tessary
