#pragma once

#include <sys/ptrace.h>
#include <sys/types.h>

namespace tessary::test {

// A child process that this process traces with ptrace(2) from one system call to the next. It is
// killed if this process ends.
class TracedProcess {
 public:
  enum class Threads { kMainOnly, kAll };

  // For the child, before it stops itself or becomes another program: has its parent trace it.
  // Returns false where that is not permitted.
  static bool AllowTracing();

  // Waits until `process` has stopped for the first time. With kAll, also traces the threads that
  // it starts.
  TracedProcess(pid_t process, Threads threads);

  // Continues to the next point at which a traced thread enters or leaves a system call. Returns
  // false if the process has ended or has stopped itself by SIGSTOP. In the second case tracing
  // ends, and the process is waited for.
  bool ContinueToNextCall();

  // The system call at which the process is stopped. `op` is PTRACE_SYSCALL_INFO_NONE where the
  // kernel does not say.
  __ptrace_syscall_info ReadCall() const;

  // Kills the process, as kill -9 does, and waits for its end.
  void Kill();

  // How the process has ended, in the form of waitpid(2).
  int status() const { return status_; }

 private:
  pid_t process_;
  pid_t stopped_;  // the thread at the current stop
  Threads threads_;
  int status_ = 0;
};

}  // namespace tessary::test
