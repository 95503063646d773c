#include "tests/programs/system_calls.h"

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>

namespace tessary::test {
namespace {

// The signal of a stop at a system call with PTRACE_O_TRACESYSGOOD.
constexpr int kCallStop = SIGTRAP | 0x80;

// Newer kernels have these in place of the calls with an "l".
constexpr uint64_t kGetXattrAt = 464;
constexpr uint64_t kListXattrAt = 465;

std::string NameOfCall(uint64_t number) {
  static const std::map<uint64_t, std::string> kNames = {
      {SYS_close, "close"},
      {SYS_copy_file_range, "copy_file_range"},
      {SYS_fallocate, "fallocate"},
      {SYS_fchmod, "fchmod"},
      {SYS_fchown, "fchown"},
      {SYS_fgetxattr, "fgetxattr"},
      {SYS_flistxattr, "flistxattr"},
      {SYS_fsetxattr, "fsetxattr"},
      {SYS_fsync, "fsync"},
      {SYS_ftruncate, "ftruncate"},
      {SYS_getdents64, "getdents64"},
      {SYS_getpid, "getpid"},
      {SYS_getrandom, "getrandom"},
      {SYS_getxattr, "getxattr"},
      {kGetXattrAt, "getxattr"},
      {SYS_ioctl, "ioctl"},
      {SYS_lgetxattr, "getxattr"},
      {SYS_linkat, "linkat"},
      {SYS_llistxattr, "listxattr"},
      {kListXattrAt, "listxattr"},
      {SYS_lseek, "lseek"},
      {SYS_mkdirat, "mkdirat"},
      {SYS_newfstatat, "newfstatat"},
      {SYS_openat, "openat"},
      {SYS_poll, "poll"},
      {SYS_pread64, "pread64"},
      {SYS_prlimit64, "prlimit64"},
      {SYS_pwrite64, "pwrite64"},
      {SYS_read, "read"},
      {SYS_renameat2, "renameat2"},
      {SYS_sendfile, "sendfile"},
      {SYS_statx, "statx"},
      {SYS_umask, "umask"},
      {SYS_unlinkat, "unlinkat"},
      {SYS_utimensat, "utimensat"},
      {SYS_write, "write"},
  };
  const auto found = kNames.find(number);
  return found != kNames.end() ? found->second : "call " + std::to_string(number);
}

bool IsOfAllocator(uint64_t number) {
  return number == SYS_brk || number == SYS_mmap || number == SYS_munmap || number == SYS_mremap ||
         number == SYS_madvise || number == SYS_mprotect;
}

bool IsWaiting(uint64_t number) { return number == SYS_futex || number == SYS_clock_nanosleep; }

__ptrace_syscall_info ReadStop(pid_t child) {
  __ptrace_syscall_info info = {};
  EXPECT_GT(ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info), 0);
  return info;
}

void Count(uint64_t call, const __ptrace_syscall_info& stop, CallCounts* counts) {
  if (IsOfAllocator(call) || IsWaiting(call)) return;
  std::string name = NameOfCall(call);
  if (stop.exit.is_error != 0) {
    const char* error = strerrorname_np(static_cast<int>(-stop.exit.rval));
    name += std::string(" ") + (error != nullptr ? error : "error");
  }
  ++(*counts)[name];
}

}  // namespace

bool CanCountCalls() {
  const pid_t child = fork();
  if (child == 0) {
    const bool isTraced = AllowCallCounting();
    if (isTraced) (void)std::raise(SIGSTOP);
    _exit(isTraced ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
  __ptrace_syscall_info info = {};
  const bool canRead = ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info) > 0;
  EXPECT_EQ(0, ptrace(PTRACE_CONT, child, nullptr, nullptr));
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return canRead;
}

bool AllowCallCounting() { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; }

int CountCalls(pid_t child, CallCounts* counts, CallCounts* otherThreads) {
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  // The child stops for the first time before the first instruction of its program.
  if (WIFSTOPPED(status)) {
    const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL |
                         (otherThreads != nullptr ? PTRACE_O_TRACECLONE : 0);
    EXPECT_EQ(0, ptrace(PTRACE_SETOPTIONS, child, nullptr, options));
  }
  std::map<pid_t, uint64_t> calls;  // the one that each thread is making
  pid_t stopped = child;
  int stop = status;
  while (WIFSTOPPED(status)) {
    const int reason = WIFSTOPPED(stop) ? WSTOPSIG(stop) : 0;
    if (reason == kCallStop) {
      const __ptrace_syscall_info info = ReadStop(stopped);
      if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
        calls[stopped] = info.entry.nr;
      } else {
        Count(calls[stopped], info, stopped == child ? counts : otherThreads);
      }
    }
    // SIGTRAP and SIGSTOP come from the tracing.
    const bool isOfTracing = reason == kCallStop || reason == SIGTRAP || reason == SIGSTOP;
    // Fails for a thread that has just ended. The next wait reports another one.
    (void)ptrace(PTRACE_SYSCALL, stopped, nullptr, isOfTracing ? 0 : reason);
    stopped = waitpid(otherThreads != nullptr ? -1 : child, &stop, __WALL);
    if (stopped < 0) break;
    if (stopped == child) status = stop;
  }
  return status;
}

}  // namespace tessary::test
