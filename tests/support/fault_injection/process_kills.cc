#include "tests/support/fault_injection/process_kills.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/run_in_child.h"

namespace tessary::test {
namespace {

constexpr int kNotPermittedStatus = 126;
constexpr int kCallStop = SIGTRAP | 0x80;

// Whether the child has stopped before a call that changes files or might.
bool IsBeforeChange(pid_t child) {
  __ptrace_syscall_info info = {};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info) <= 0) return true;
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
  switch (info.entry.nr) {
    case SYS_openat:
      return (info.entry.args[2] & O_ACCMODE) != O_RDONLY;
    case SYS_statx:
    case SYS_newfstatat:
    case SYS_fstat:
    case SYS_read:
    case SYS_pread64:
    case SYS_lseek:
    case SYS_getdents64:
    case SYS_close:
    case SYS_readlink:
    case SYS_readlinkat:
    case SYS_llistxattr:
    case SYS_flistxattr:
    case SYS_lgetxattr:
    case SYS_fgetxattr:
    case SYS_fstatfs:
    case SYS_getpid:
    case SYS_geteuid:
    case SYS_getrandom:
    case SYS_faccessat2:
    case SYS_brk:
    case SYS_mmap:
    case SYS_munmap:
      return false;
    default:
      return true;
  }
}

// Lets the child go on to its next stop at a call, with the signals that it gets. False when it has
// ended, with the body or before.
bool ContinueToNextCall(pid_t child, int* status) {
  int signal = 0;
  do {
    if (ptrace(PTRACE_SYSCALL, child, nullptr, signal) != 0) return false;
    if (waitpid(child, status, 0) != child) return false;
    signal = WIFSTOPPED(*status) ? WSTOPSIG(*status) : 0;
    if (signal != SIGSTOP) continue;
    // The body is over. Nobody kills the rest, which in a build that counts writes down the counts.
    if (ptrace(PTRACE_DETACH, child, nullptr, 0) != 0) return false;
    waitpid(child, status, 0);
    return false;
  } while (WIFSTOPPED(*status) && signal != kCallStop);
  return WIFSTOPPED(*status);
}

KillResult ResultOf(int status) {
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return KillResult::kKilled;
  if (!WIFEXITED(status)) return KillResult::kFailed;
  if (WEXITSTATUS(status) == kNotPermittedStatus) return KillResult::kNotPermitted;
  return WEXITSTATUS(status) == 0 ? KillResult::kFinished : KillResult::kFailed;
}

}  // namespace

KillResult RunAndKillBeforeCall(unsigned call, const std::function<void()>& body) {
  const pid_t child = ForkChild();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kNotPermittedStatus);
    (void)raise(SIGSTOP);
    body();
    (void)raise(SIGSTOP);
    ExitChild();
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  if (!WIFSTOPPED(status)) return ResultOf(status);
  constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
  EXPECT_EQ(0, ptrace(PTRACE_SETOPTIONS, child, nullptr, kOptions));
  for (unsigned calls = 0; ContinueToNextCall(child, &status);) {
    if (!IsBeforeChange(child) || ++calls < call) continue;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    break;
  }
  return ResultOf(status);
}

}  // namespace tessary::test
