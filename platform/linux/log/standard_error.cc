#include "platform/linux/log/standard_error.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace tessary {
namespace {

// A terminal may be non-blocking, because other programs that have the terminal open share its
// mode.
bool WaitUntilWritable(int file) {
  pollfd wanted = {file, POLLOUT, 0};
  return poll(&wanted, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

void WriteToStandardError(std::string_view bytes) { WriteToTerminal(STDERR_FILENO, bytes); }

void WriteToTerminal(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<size_t>(count));
    } else if (errno == EAGAIN) {
      if (!WaitUntilWritable(file)) return;
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace tessary
