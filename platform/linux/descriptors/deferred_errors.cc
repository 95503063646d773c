#include "platform/linux/descriptors/deferred_errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/errors.h"

namespace tessary {

Status FlushDeferredErrors(int file) {
  const int again = fcntl(file, F_DUPFD_CLOEXEC, 0);
  if (again < 0) return LastError();
  // EINTR says nothing about the data, and the descriptor is closed all the same.
  return close(again) == 0 || errno == EINTR ? noErr : LastError();
}

}  // namespace tessary
