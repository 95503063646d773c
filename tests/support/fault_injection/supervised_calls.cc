#include "tests/support/fault_injection/supervised_calls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {
namespace {

// Not in the headers of every kernel that has it: the two processes take turns on one processor.
constexpr uint64_t kSyncWakeUp = 1;

const std::map<int, const char*>& CallNames() {
  static const std::map<int, const char*> kNames = {
      {SYS_openat, "openat"},
      {SYS_close, "close"},
      {SYS_statx, "statx"},
      {SYS_newfstatat, "newfstatat"},
      {SYS_fstatfs, "fstatfs"},
      {SYS_getdents64, "getdents64"},
      {SYS_lseek, "lseek"},
      {SYS_read, "read"},
      {SYS_pread64, "pread64"},
      {SYS_write, "write"},
      {SYS_pwrite64, "pwrite64"},
      {SYS_copy_file_range, "copy_file_range"},
      {SYS_ftruncate, "ftruncate"},
      {SYS_fallocate, "fallocate"},
      {SYS_fsync, "fsync"},
      {SYS_fdatasync, "fdatasync"},
      {SYS_syncfs, "syncfs"},
      {SYS_ioctl, "ioctl"},
      {SYS_fcntl, "fcntl"},
      {SYS_flock, "flock"},
      {SYS_mkdirat, "mkdirat"},
      {SYS_unlinkat, "unlinkat"},
      {SYS_linkat, "linkat"},
      {SYS_symlinkat, "symlinkat"},
      {SYS_readlinkat, "readlinkat"},
      {SYS_renameat, "renameat"},
      {SYS_renameat2, "renameat2"},
      {SYS_faccessat, "faccessat"},
      {SYS_faccessat2, "faccessat2"},
      {SYS_fchmod, "fchmod"},
      {SYS_fchmodat, "fchmodat"},
      {SYS_fchown, "fchown"},
      {SYS_fchownat, "fchownat"},
      {SYS_utimensat, "utimensat"},
      {SYS_listxattr, "listxattr"},
      {SYS_llistxattr, "llistxattr"},
      {SYS_flistxattr, "flistxattr"},
      {SYS_getxattr, "getxattr"},
      {SYS_lgetxattr, "lgetxattr"},
      {SYS_fgetxattr, "fgetxattr"},
      {SYS_setxattr, "setxattr"},
      {SYS_lsetxattr, "lsetxattr"},
      {SYS_fsetxattr, "fsetxattr"},
      {SYS_lremovexattr, "lremovexattr"},
      {SYS_fremovexattr, "fremovexattr"},
      {SYS_getrandom, "getrandom"},
      {SYS_prlimit64, "prlimit64"},
      {SYS_capget, "capget"},
      {SYS_getcwd, "getcwd"},
#ifdef SYS_open
      {SYS_open, "open"},
      {SYS_stat, "stat"},
      {SYS_lstat, "lstat"},
      {SYS_readlink, "readlink"},
      {SYS_rename, "rename"},
      {SYS_unlink, "unlink"},
      {SYS_mkdir, "mkdir"},
      {SYS_chmod, "chmod"},
#endif
  };
  return kNames;
}

sock_filter Load(size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset));
}

// The descriptor by which the other process is asked, or none where there is no such thing.
UniqueFd InstallNotifyFilter(const std::vector<int>& numbers) {
  std::vector<sock_filter> program = {Load(offsetof(seccomp_data, nr))};
  // The log is not under test, and a test that could not tell of itself would be of no use.
  program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 0, 3));
  program.push_back(Load(offsetof(seccomp_data, args)));
  program.push_back(BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, STDERR_FILENO, 1, 0));
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  program.push_back(Load(offsetof(seccomp_data, nr)));
  for (const int number : numbers) {
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(number), 0, 1));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
  }
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return UniqueFd();
  return UniqueFd(static_cast<int>(
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter)));
}

void SendDescriptor(int socket, int descriptor) {
  char byte = descriptor >= 0 ? 'y' : 'n';
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
  }
  // The other side finds nothing where this fails, and says so.
  (void)sendmsg(socket, &message, 0);
}

UniqueFd ReceiveDescriptor(int socket) {
  char byte = 0;
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) <= 0) return UniqueFd();
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) return UniqueFd();
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(header), sizeof(int));
  return UniqueFd(descriptor);
}

// True in a process that is asked about its closing (see close below).
bool gInterceptsClose = false;

// What tells the closing of the code under test from that of the C library within itself.
constexpr uint64_t kCloseMarker = 0x7e55;

// What the two processes have in common.
struct SharedState {
  bool isSupervising = false;
};

[[noreturn]] void RunChild(const std::vector<int>& numbers, const std::function<int()>& body,
                           const std::function<int(int)>& finish, int socket, int output,
                           volatile SharedState* watch) {
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  // Through the calls themselves, as each would be held up once the filter is there.
  UniqueFd listener = InstallNotifyFilter(numbers);
  SendDescriptor(socket, listener.get());
  if (!listener) _exit(0);
  char isReady = 0;
  // Until the other side has the descriptor, nothing may be called that asks it.
  (void)recv(socket, &isReady, 1, 0);
  syscall(SYS_close_range, listener.Release(), ~0U, 0);
  gInterceptsClose = std::find(numbers.begin(), numbers.end(), SYS_close) != numbers.end();
  watch->isSupervising = true;
  const int status = body();
  watch->isSupervising = false;
  gInterceptsClose = false;
  const int finished = finish(status);
  (void)std::fflush(stdout);
  _exit(finished);
}

class Supervisor {
 public:
  Supervisor(UniqueFd listener, const std::function<int(const SupervisedCall&)>& decide,
             const volatile SharedState* watch)
      : listener_(std::move(listener)), decide_(decide), state_(watch) {
    // Only a favour: without it the two take turns more slowly.
    (void)ioctl(listener_.get(), SECCOMP_IOW(4, uint64_t), kSyncWakeUp);
  }

  // False when the time was over before the child was.
  bool Run(int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (true) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      pollfd asked = {listener_.get(), POLLIN, 0};
      if (poll(&asked, 1, static_cast<int>(left.count())) <= 0) continue;
      if ((asked.revents & POLLIN) != 0) AnswerNotification();
      // Nobody is left who could ask.
      else if ((asked.revents & (POLLHUP | POLLERR)) != 0)
        return true;
    }
  }

 private:
  void AnswerNotification() {
    seccomp_notif asked = {};
    if (ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_RECV, &asked) != 0) return;
    SupervisedCall call;
    call.number = asked.data.nr;
    call.process = static_cast<pid_t>(asked.pid);
    for (size_t i = 0; i < 6; ++i) call.arguments[i] = asked.data.args[i];
    const bool isClosed = call.number == SYS_close && call.arguments[1] == kCloseMarker;
    const bool isOthers = !state_->isSupervising || (call.number == SYS_close && !isClosed);
    const int error = isOthers ? 0 : decide_(call);
    seccomp_notif_resp answer = {};
    answer.id = asked.id;
    answer.error = -error;
    // What was to be closed is closed already.
    if (error == 0 && !isClosed) answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    // A child that died meanwhile takes no answer.
    (void)ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }

  UniqueFd listener_;
  const std::function<int(const SupervisedCall&)>& decide_;
  const volatile SharedState* state_;
};

std::string ReadAll(int file) {
  std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
  const ssize_t size = pread(file, text.data(), text.size(), 0);
  text.resize(size < 0 ? 0 : static_cast<size_t>(size));
  return text;
}

}  // namespace

SupervisedResult RunSupervised(const std::vector<int>& numbers,
                               const std::function<int(const SupervisedCall&)>& decide,
                               const std::function<int()>& body,
                               const std::function<int(int status)>& finish, int seconds,
                               std::string* output) {
  // What stands in the buffer would be written by both processes.
  (void)std::fflush(stdout);
  int ends[2] = {};
  EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
  UniqueFd ours(ends[0]);
  UniqueFd theirs(ends[1]);
  const UniqueFd written(memfd_create("output", MFD_CLOEXEC));
  void* shared =
      mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(MAP_FAILED, shared);
  auto* watch = new (shared) SharedState;
  const pid_t child = fork();
  if (child == 0) RunChild(numbers, body, finish, theirs.get(), written.get(), watch);
  theirs.Reset();
  SupervisedResult end;
  UniqueFd listener = ReceiveDescriptor(ours.get());
  end.isSupervised = static_cast<bool>(listener);
  if (listener) {
    Supervisor supervisor(std::move(listener), decide, watch);
    EXPECT_EQ(1, send(ours.get(), "g", 1, MSG_NOSIGNAL));
    end.hasTimedOut = !supervisor.Run(seconds);
    if (end.hasTimedOut) kill(child, SIGKILL);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  if (WIFSIGNALED(status)) end.signal = WTERMSIG(status);
  if (WIFEXITED(status)) end.exitStatus = WEXITSTATUS(status);
  munmap(shared, sizeof(SharedState));
  *output += ReadAll(written.get());
  return end;
}

std::string NameOfCall(int number) {
  const auto found = CallNames().find(number);
  return found == CallNames().end() ? std::to_string(number) : found->second;
}

std::string NameOfError(int error) { return strerrorname_np(error); }

std::vector<int> FileCalls() {
  std::vector<int> numbers;
  for (const auto& [number, name] : CallNames()) numbers.push_back(number);
  return numbers;
}

}  // namespace tessary::test

// Takes the place of the C library's in a test program that supervises. The descriptor is closed in
// a way that nobody is asked about, and then the call is made for its answer alone: a refused close
// would leave it open, which the kernel never does.
extern "C" int close(int fd) {
  using tessary::test::gInterceptsClose;
  using tessary::test::kCloseMarker;
  if (!gInterceptsClose || fd < 0) return static_cast<int>(syscall(SYS_close, fd, 0));
  if (syscall(SYS_close_range, fd, fd, 0) != 0) return -1;
  return static_cast<int>(syscall(SYS_close, fd, kCloseMarker));
}
