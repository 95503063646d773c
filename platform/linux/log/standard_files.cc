#include "platform/managers/standard_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "platform/linux/descriptors/descriptor_limit.h"

namespace tessary {

void PrepareStandardFiles() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) != -1) continue;
    // O_PATH refuses reading and writing alike. The lowest free number is given out, which is this
    // one because those below it are taken. Without "/" there would be nothing to run on.
    (void)open("/", O_PATH);
  }
  // Fails for unknown signals only.
  (void)std::signal(SIGPIPE, SIG_IGN);
  RaiseDescriptorLimit();
}

}  // namespace tessary
