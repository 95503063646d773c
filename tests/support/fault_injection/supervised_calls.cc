#include "tests/support/fault_injection/supervised_calls.h"

#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/fault_injection/seccomp_filter.h"
#include "tests/support/memory_file.h"
#include "tests/support/run_in_child.h"
#include "tests/support/shared_memory.h"

namespace tessary::test {
namespace {

// SECCOMP_USER_NOTIF_FD_SYNC_WAKE_UP and SECCOMP_IOCTL_NOTIF_SET_FLAGS, which not all headers have:
// the two processes take turns on one processor.
constexpr uint64_t kSyncWakeUp = 1;
constexpr unsigned long kSetNotifyFlags = SECCOMP_IOW(4, uint64_t);

// A message with one byte and, as an ancillary message, at most one descriptor.
struct DescriptorMessage {
  DescriptorMessage() {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
  }
  DescriptorMessage(const DescriptorMessage&) = delete;
  DescriptorMessage& operator=(const DescriptorMessage&) = delete;

  char byte = 0;
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr header = {};
};

// Sends the descriptor, or a message without one if it is negative.
void SendDescriptor(int socket, int descriptor) {
  DescriptorMessage message;
  if (descriptor >= 0) {
    cmsghdr* header = CMSG_FIRSTHDR(&message.header);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
  } else {
    message.header.msg_controllen = 0;
  }
  // If this fails, the receiver gets no descriptor and reports that nothing was supervised.
  (void)sendmsg(socket, &message.header, 0);
}

UniqueFd ReceiveDescriptor(int socket) {
  DescriptorMessage message;
  if (recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC) <= 0) return UniqueFd();
  const cmsghdr* header = CMSG_FIRSTHDR(&message.header);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) return UniqueFd();
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(header), sizeof(int));
  return UniqueFd(descriptor);
}

// True in a supervised process that is asked about close(2); see close below.
bool gInterceptsClose = false;

// A second argument of close(2), which the kernel ignores. It marks the calls made by the close
// below, unlike those that the C library makes itself.
constexpr uint64_t kCloseMarker = 0x7e55;

// Memory that the two processes share.
struct SharedState {
  bool isSupervising = false;  // false while the child prepares and finishes
};

[[noreturn]] void RunChild(const std::vector<int>& numbers, const std::function<int()>& body,
                           const std::function<int(int)>& finish, int socket, int output,
                           volatile SharedState* state) {
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  SeccompFilter filter;
  filter.AllowStandardFiles();
  for (const int number : numbers) filter.AddRule(number, SECCOMP_RET_USER_NOTIF);
  // From here until the other process has the descriptor, a call of one of the numbers would wait
  // for ever.
  UniqueFd listener = filter.InstallWithListener();
  SendDescriptor(socket, listener.get());
  if (!listener) _exit(0);
  char isReady = 0;
  (void)recv(socket, &isReady, 1, 0);
  syscall(SYS_close_range, listener.Release(), ~0U, 0);
  gInterceptsClose = std::find(numbers.begin(), numbers.end(), SYS_close) != numbers.end();
  state->isSupervising = true;
  const int status = body();
  state->isSupervising = false;
  gInterceptsClose = false;
  const int finished = finish(status);
  (void)std::fflush(stdout);
  _exit(finished);
}

// Answers the notifications about the calls of a child process.
class Supervisor {
 public:
  Supervisor(UniqueFd listener, const CallDecision& decide, const volatile SharedState* state)
      : listener_(std::move(listener)), decide_(decide), state_(state) {
    // Optional: without it the two processes take turns more slowly.
    (void)ioctl(listener_.get(), kSetNotifyFlags, kSyncWakeUp);
  }

  // Returns true when the child has ended, false if it has not within so many seconds.
  bool Run(int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (true) {
      const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (remaining.count() <= 0) return false;
      pollfd polled = {listener_.get(), POLLIN, 0};
      if (poll(&polled, 1, static_cast<int>(remaining.count())) <= 0) continue;
      if ((polled.revents & POLLIN) != 0) {
        Answer();
      } else if ((polled.revents & (POLLHUP | POLLERR)) != 0) {
        // No process with the filter is left.
        return true;
      }
    }
  }

 private:
  void Answer() {
    seccomp_notif notification = {};
    if (ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) return;
    SupervisedCall call;
    call.number = notification.data.nr;
    call.process = static_cast<pid_t>(notification.pid);
    std::copy_n(notification.data.args, call.arguments.size(), call.arguments.begin());
    // Only a close that is marked is one of the code under test; its descriptor is closed already.
    const bool isMarkedClose = call.number == SYS_close && call.arguments[1] == kCloseMarker;
    const bool isAsked = state_->isSupervising && (call.number != SYS_close || isMarkedClose);
    const int error = isAsked ? decide_(call) : 0;
    seccomp_notif_resp answer = {};
    answer.id = notification.id;
    answer.error = -error;
    if (error == 0 && !isMarkedClose) answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    // Fails if the child was killed meanwhile.
    (void)ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }

  UniqueFd listener_;
  const CallDecision& decide_;
  const volatile SharedState* state_;
};

}  // namespace

SupervisedResult RunSupervised(const std::vector<int>& numbers, const CallDecision& decide,
                               const std::function<int()>& body,
                               const std::function<int(int status)>& finish, int seconds) {
  int ends[2] = {};
  EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
  UniqueFd ours(ends[0]);
  UniqueFd theirs(ends[1]);
  const MemoryFile output;
  const SharedMemory<SharedState> state;
  const pid_t child = ForkChild();
  if (child == 0) RunChild(numbers, body, finish, theirs.get(), output.fd(), &*state);
  theirs.Reset();
  SupervisedResult result;
  UniqueFd listener = ReceiveDescriptor(ours.get());
  result.isSupervised = static_cast<bool>(listener);
  if (listener) {
    Supervisor supervisor(std::move(listener), decide, &*state);
    EXPECT_EQ(1, send(ours.get(), "g", 1, MSG_NOSIGNAL));
    result.hasTimedOut = !supervisor.Run(seconds);
    if (result.hasTimedOut) kill(child, SIGKILL);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
  result.output = output.Contents();
  return result;
}

}  // namespace tessary::test

#ifndef TESSARY_SANITIZE_THREADS
// Replaces the C library's close in every test program, except with ThreadSanitizer, which has to
// see each call itself. In a supervised process it closes the
// descriptor by close_range(2), which nobody is asked about, and then calls close(2) for the
// decision alone: a close that is made to fail would otherwise leave the descriptor open, which the
// kernel never does.
extern "C" int close(int fd) {
  using tessary::test::gInterceptsClose;
  using tessary::test::kCloseMarker;
  if (!gInterceptsClose || fd < 0) return static_cast<int>(syscall(SYS_close, fd, 0));
  if (syscall(SYS_close_range, fd, fd, 0) != 0) return -1;
  return static_cast<int>(syscall(SYS_close, fd, kCloseMarker));
}
#endif
