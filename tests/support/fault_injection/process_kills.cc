#include "tests/support/fault_injection/process_kills.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <set>

#include "tests/support/fault_injection/traced_process.h"
#include "tests/support/run_in_child.h"

namespace tessary::test {
namespace {

constexpr int kNotPermittedStatus = 126;

// Returns whether the process is about to make a call that may change files. A call that is not
// known counts.
bool IsBeforeChange(const __ptrace_syscall_info& info) {
  static const std::set<uint64_t> kReading = {
      SYS_statx,      SYS_newfstatat, SYS_fstat,     SYS_read,           SYS_pread64,
      SYS_lseek,      SYS_getdents64, SYS_close,     SYS_readlink,       SYS_readlinkat,
      SYS_llistxattr, SYS_flistxattr, SYS_lgetxattr, SYS_fgetxattr,      SYS_fstatfs,
      SYS_getpid,     SYS_geteuid,    SYS_getrandom, SYS_faccessat2,     SYS_brk,
      SYS_mmap,       SYS_munmap,     SYS_mprotect,  SYS_madvise,        SYS_futex,
      SYS_clone3,     SYS_gettid,     SYS_prlimit64, SYS_rt_sigprocmask, SYS_sched_getaffinity};
  if (info.op == PTRACE_SYSCALL_INFO_NONE) return true;
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
  if (info.entry.nr == SYS_ioctl) return info.entry.args[1] == FICLONE;
  if (info.entry.nr == SYS_openat) return (info.entry.args[2] & O_ACCMODE) != O_RDONLY;
  return !kReading.contains(info.entry.nr);
}

KillResult ResultFrom(int status) {
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return KillResult::kKilled;
  if (!WIFEXITED(status)) return KillResult::kFailed;
  if (WEXITSTATUS(status) == kNotPermittedStatus) return KillResult::kNotPermitted;
  return WEXITSTATUS(status) == 0 ? KillResult::kFinished : KillResult::kFailed;
}

}  // namespace

KillResult RunAndKillBeforeCall(unsigned call, const std::function<void()>& body) {
  const pid_t child = ForkChild();
  if (child == 0) {
    if (!TracedProcess::AllowTracing()) _exit(kNotPermittedStatus);
    (void)raise(SIGSTOP);
    body();
    // Ends the tracing, so that nothing kills the exit, which writes the counts of a coverage
    // build.
    (void)raise(SIGSTOP);
    ExitChild();
  }
  TracedProcess process(child, TracedProcess::Threads::kMainOnly);
  for (unsigned calls = 0; process.ContinueToNextCall();) {
    if (!IsBeforeChange(process.ReadCall()) || ++calls < call) continue;
    process.Kill();
    break;
  }
  return ResultFrom(process.status());
}

}  // namespace tessary::test
