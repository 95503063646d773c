#include "tests/support/fault_injection/traced_process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>

namespace tessary::test {
namespace {

// A stop at a system call, with the option PTRACE_O_TRACESYSGOOD.
constexpr int kCallStop = SIGTRAP | 0x80;

}  // namespace

bool TracedProcess::AllowTracing() { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; }

TracedProcess::TracedProcess(pid_t process, Threads threads)
    : process_(process), stopped_(process), threads_(threads) {
  EXPECT_EQ(process, waitpid(process, &status_, 0));
  if (!WIFSTOPPED(status_)) return;
  const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL |
                       (threads == Threads::kAll ? PTRACE_O_TRACECLONE : 0);
  EXPECT_EQ(0, ptrace(PTRACE_SETOPTIONS, process, nullptr, options));
}

bool TracedProcess::ContinueToNextCall() {
  int signal = 0;
  while (WIFSTOPPED(status_)) {
    // Fails for a thread that has just ended. The next wait reports another one.
    (void)ptrace(PTRACE_SYSCALL, stopped_, nullptr, signal);
    int status = 0;
    stopped_ =
        threads_ == Threads::kAll ? waitpid(-1, &status, __WALL) : waitpid(process_, &status, 0);
    if (stopped_ < 0) return false;
    if (stopped_ == process_) status_ = status;
    const int reason = WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
    if (reason == kCallStop) return true;
    if (reason == SIGSTOP && stopped_ == process_) {
      EXPECT_EQ(0, ptrace(PTRACE_DETACH, process_, nullptr, 0));
      EXPECT_EQ(process_, waitpid(process_, &status_, 0));
      return false;
    }
    // SIGTRAP and a new thread's SIGSTOP come from the tracing. Other signals are passed on.
    signal = reason == SIGTRAP || reason == SIGSTOP ? 0 : reason;
  }
  return false;
}

__ptrace_syscall_info TracedProcess::ReadCall() const {
  __ptrace_syscall_info info = {};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, stopped_, sizeof(info), &info) <= 0) {
    info.op = PTRACE_SYSCALL_INFO_NONE;
  }
  return info;
}

void TracedProcess::Kill() {
  kill(process_, SIGKILL);
  // Stops that were under way may be reported first. The end of the process is reported only when
  // its other threads, if they are traced, have been waited for.
  const pid_t waited = threads_ == Threads::kAll ? -1 : process_;
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(waited, &status, __WALL);
  } while (ended >= 0 && (ended != process_ || WIFSTOPPED(status)));
  status_ = status;
}

}  // namespace tessary::test
