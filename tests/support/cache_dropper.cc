#include "tests/support/cache_dropper.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/run_in_child.h"

namespace tessary::test {

bool DropCaches() {
  const UniqueFd file(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), "2", 1) == 1;
}

CacheDropper::CacheDropper(std::chrono::milliseconds pause) {
  if (!DropCaches()) return;
  process_ = ForkChild();
  if (process_ != 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const timespec time = {0, std::chrono::nanoseconds(pause).count()};
  while (DropCaches()) nanosleep(&time, nullptr);
  _exit(1);
}

CacheDropper::~CacheDropper() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

}  // namespace tessary::test
