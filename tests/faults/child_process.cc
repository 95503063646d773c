#include "tests/faults/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <set>
#include <utility>

#include "tests/support/fault_injection/traced_process.h"
#include "tests/support/run_in_child.h"
#include "tests/support/tool.h"

namespace tessary::test {
namespace {

constexpr int kCannotStart = 125;

// Starts the program. Its standard output is discarded, its standard error goes to `errors`.
pid_t Start(const std::vector<std::string>& arguments, const ChildSetup& setup, int errors,
            bool isTraced) {
  std::vector<std::string> texts = {TESSARY_CLI};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  const std::vector<char*> argv = ArgumentPointers(&texts);
  const pid_t child = ForkChild();
  EXPECT_GE(child, 0);
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const auto& [name, value] : setup.environment) setenv(name.c_str(), value.c_str(), 1);
  const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (dup2(output, STDOUT_FILENO) < 0 || dup2(errors, STDERR_FILENO) < 0) _exit(kCannotStart);
  // A process that is killed must not leave the counts of a coverage build incomplete or locked.
  if (isTraced) setenv("GCOV_PREFIX", "/dev/null", 1);
  if (isTraced && !TracedProcess::AllowTracing()) _exit(kCannotStart);
  if (!setup.injectedErrors.empty() && !InjectErrors(setup.injectedErrors)) _exit(kCannotStart);
  execv(TESSARY_CLI, argv.data());
  _exit(kCannotStart);
}

int StatusFrom(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Returns whether the process is before or after a call that creates, changes or removes a name or
// creates an anonymous file. `*isWithin` is whether the last stop was before such a call.
bool IsAtChange(const __ptrace_syscall_info& info, bool* isWithin) {
  if (info.op == PTRACE_SYSCALL_INFO_NONE) return false;
  if (info.op == PTRACE_SYSCALL_INFO_EXIT) return std::exchange(*isWithin, false);
  static const std::set<uint64_t> kChanges = {SYS_mkdirat,  SYS_linkat,    SYS_symlinkat,
                                              SYS_renameat, SYS_renameat2, SYS_unlinkat};
  constexpr uint64_t kCreating = O_CREAT | (O_TMPFILE & ~O_DIRECTORY);
  const uint64_t number = info.entry.nr;
  *isWithin =
      kChanges.contains(number) || (number == SYS_openat && (info.entry.args[2] & kCreating) != 0);
  return *isWithin;
}

uint64_t RunAndKill(const std::vector<std::string>& arguments, const ChildSetup& setup,
                    uint64_t stops,
                    const std::function<bool(const __ptrace_syscall_info&)>& isCounted,
                    const std::function<void()>& before) {
  const MemoryFile errors;
  TracedProcess process(Start(arguments, setup, errors.fd(), true), TracedProcess::Threads::kAll);
  for (uint64_t seen = 0; seen < stops; seen += isCounted(process.ReadCall()) ? 1U : 0U) {
    if (!process.ContinueToNextCall()) return seen;
  }
  if (before) before();
  process.Kill();
  return stops;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetup& setup)
    : pid_(Start(arguments, setup, errors_.fd(), false)) {}

bool ChildProcess::Reap(int flags) {
  if (pid_ < 0) return true;
  int status = 0;
  if (waitpid(pid_, &status, flags) != pid_) return false;
  status_ = StatusFrom(status);
  pid_ = -1;
  return true;
}

void ChildProcess::Kill() {
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  (void)Reap(0);
}

void ChildProcess::Stop() {
  if (pid_ >= 0) kill(pid_, SIGSTOP);
}

void ChildProcess::Continue() {
  if (pid_ >= 0) kill(pid_, SIGCONT);
}

bool ChildProcess::HasEnded() { return Reap(WNOHANG); }

bool ChildProcess::Wait(unsigned seconds) {
  if (pid_ < 0) return true;
  const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  EXPECT_TRUE(process);
  pollfd waited = {process.get(), POLLIN, 0};
  const bool hasEnded = poll(&waited, 1, static_cast<int>(seconds) * 1000) == 1;
  if (!hasEnded) Kill();
  return hasEnded && Reap(0);
}

uint64_t RunAndKillAtStop(const std::vector<std::string>& arguments, const ChildSetup& setup,
                          uint64_t stops, const std::function<void()>& before) {
  return RunAndKill(
      arguments, setup, stops, [](const auto&) { return true; }, before);
}

bool RunAndKillAtChange(const std::vector<std::string>& arguments, const ChildSetup& setup,
                        uint64_t stops) {
  bool isWithin = false;
  const auto isCounted = [&isWithin](const auto& info) { return IsAtChange(info, &isWithin); };
  return RunAndKill(arguments, setup, stops, isCounted, nullptr) == stops;
}

}  // namespace tessary::test
