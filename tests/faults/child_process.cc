#include "tests/faults/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <utility>

namespace tessary::test {
namespace {

constexpr int kCannotStart = 125;

std::vector<char*> Pointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts->size() + 1);
  for (std::string& text : *texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Starts the program with its standard output and error in these files.
pid_t Start(const std::vector<std::string>& arguments, const ChildSetup& setup, int output,
            int errors, bool isTraced) {
  std::vector<std::string> texts = {TESSARY_CLI};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  const std::vector<char*> argv = Pointers(&texts);
  const pid_t child = fork();
  EXPECT_GE(child, 0);
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const auto& [name, value] : setup.environment) setenv(name.c_str(), value.c_str(), 1);
  if (dup2(output, STDOUT_FILENO) < 0 || dup2(errors, STDERR_FILENO) < 0) _exit(kCannotStart);
  // What is killed must not leave the counts of a build that counts half written, or locked.
  if (isTraced) setenv("GCOV_PREFIX", "/dev/null", 1);
  if (isTraced && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kCannotStart);
  if (!setup.injectedErrors.empty() && !InjectErrors(setup.injectedErrors)) _exit(kCannotStart);
  execv(TESSARY_CLI, argv.data());
  _exit(kCannotStart);
}

std::string TextOf(int file) {
  std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(file, text.data(), text.size(), 0));
  return text;
}

int StatusFrom(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Whether the call that the process has begun or ended makes, changes or removes a name.
// `*isWithin` tells of a call that it has begun.
bool IsChange(pid_t process, bool* isWithin) {
  __ptrace_syscall_info info = {};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof(info), &info) <= 0) return false;
  if (info.op == PTRACE_SYSCALL_INFO_EXIT) return std::exchange(*isWithin, false);
  static const std::set<uint64_t> kChanges = {SYS_mkdirat,  SYS_linkat,    SYS_symlinkat,
                                              SYS_renameat, SYS_renameat2, SYS_unlinkat};
  constexpr uint64_t kMaking = O_CREAT | (O_TMPFILE & ~O_DIRECTORY);
  const uint64_t number = info.entry.nr;
  *isWithin =
      kChanges.contains(number) || (number == SYS_openat && (info.entry.args[2] & kMaking) != 0);
  return *isWithin;
}

// Starts the program and stops it at the `stops`-th stop that is counted, of those at which it has
// begun or ended a system call, then kills it after `before`. Answers how many it got to; 0 where
// this process may not trace.
uint64_t KillAtStop(const std::vector<std::string>& arguments, const ChildSetup& setup,
                    uint64_t stops, const std::function<bool(pid_t)>& isCounted,
                    const std::function<void()>& before) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const pid_t child = Start(arguments, setup, nowhere, nowhere, true);
  close(nowhere);
  int status = 0;
  uint64_t seen = 0;
  // The first stop is that of the start itself.
  EXPECT_EQ(child, waitpid(child, &status, 0));
  if (WIFEXITED(status)) return 0;
  constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE;
  EXPECT_EQ(0, ptrace(PTRACE_SETOPTIONS, child, nullptr, kOptions));
  pid_t stopped = child;
  long signal = 0;
  while (seen < stops) {
    // Fails of a thread that has ended, for which nothing is to be done.
    (void)ptrace(PTRACE_SYSCALL, stopped, nullptr, signal);
    stopped = waitpid(-1, &status, __WALL);
    if (stopped < 0 || (stopped == child && !WIFSTOPPED(status))) return seen;
    const int reason = WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
    if (reason == (SIGTRAP | 0x80) && isCounted(stopped)) ++seen;
    const bool isOurs = reason == (SIGTRAP | 0x80) || reason == SIGTRAP || reason == SIGSTOP;
    signal = isOurs ? 0 : reason;
  }
  if (before != nullptr) before();
  kill(child, SIGKILL);
  while (waitpid(child, &status, __WALL) == child && WIFSTOPPED(status)) {
  }
  return seen;
}

}  // namespace

Child::Child(const std::vector<std::string>& arguments, const ChildSetup& setup)
    : errors_(memfd_create("errors", MFD_CLOEXEC)), output_(memfd_create("output", MFD_CLOEXEC)) {
  pid_ = Start(arguments, setup, output_, errors_, false);
}

Child::~Child() {
  Kill();
  close(errors_);
  close(output_);
}

bool Child::Reap(int flags) {
  if (pid_ < 0) return true;
  int status = 0;
  if (waitpid(pid_, &status, flags) != pid_) return false;
  status_ = StatusFrom(status);
  pid_ = -1;
  return true;
}

void Child::Kill() {
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  (void)Reap(0);
}

void Child::Stop() {
  if (pid_ >= 0) kill(pid_, SIGSTOP);
}

void Child::Continue() {
  if (pid_ >= 0) kill(pid_, SIGCONT);
}

bool Child::HasEnded() { return Reap(WNOHANG); }

bool Child::Wait(unsigned seconds) {
  if (pid_ < 0) return true;
  const int end = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
  EXPECT_GE(end, 0);
  pollfd waited = {end, POLLIN, 0};
  const bool hasEnded = poll(&waited, 1, static_cast<int>(seconds) * 1000) == 1;
  close(end);
  if (!hasEnded) Kill();
  return hasEnded && Reap(0);
}

std::string Child::Errors() const { return TextOf(errors_); }
std::string Child::Output() const { return TextOf(output_); }

uint64_t KillAtCall(const std::vector<std::string>& arguments, const ChildSetup& setup,
                    uint64_t calls, const std::function<void()>& before) {
  return KillAtStop(
      arguments, setup, calls, [](pid_t) { return true; }, before);
}

bool KillAtChange(const std::vector<std::string>& arguments, const ChildSetup& setup,
                  uint64_t changes) {
  bool isWithin = false;
  const auto isChange = [&isWithin](pid_t process) { return IsChange(process, &isWithin); };
  return KillAtStop(arguments, setup, changes, isChange, nullptr) == changes;
}

}  // namespace tessary::test
