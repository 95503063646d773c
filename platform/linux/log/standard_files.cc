#include "platform/managers/standard_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "platform/linux/descriptors/descriptor_limit.h"

namespace tessary {

void PrepareStandardFiles() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) != -1) continue;
    // open(2) returns the lowest free number, which is this one, because the loop has filled the
    // numbers below it. An O_PATH descriptor can be neither read nor written. Opening "/" does not
    // fail.
    (void)open("/", O_PATH);
  }
  // The calls report EPIPE and EFBIG instead. Fails only for unknown signals.
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  RaiseDescriptorLimit();
}

}  // namespace tessary
