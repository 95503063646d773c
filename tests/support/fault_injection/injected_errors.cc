#include "tests/support/fault_injection/injected_errors.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

#include "platform/managers/autorelease_pool.h"

namespace tessary::test {
namespace {

sock_filter Load(size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset));
}

// Of an argument the lower half, where the flags are on a little-endian machine.
size_t OffsetOfArgument(int argument) {
  return offsetof(seccomp_data, args) + static_cast<size_t>(argument) * sizeof(uint64_t);
}

}  // namespace

bool InjectErrors(const std::vector<InjectedError>& calls) {
  std::vector<sock_filter> program;
  for (const InjectedError& call : calls) {
    const uint32_t refusal = SECCOMP_RET_ERRNO | static_cast<uint32_t>(call.error);
    program.push_back(Load(offsetof(seccomp_data, nr)));
    if (call.bits == 0) {
      program.push_back(
          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 1));
    } else {
      program.push_back(
          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 3));
      program.push_back(Load(OffsetOfArgument(call.argument)));
      program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, call.bits, 0, 1));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, refusal));
  }
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

bool RunWithInjectedErrors(const std::vector<InjectedError>& calls,
                           const std::function<void()>& body) {
  // What stands in the buffer would be written by both processes.
  (void)std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    EXPECT_TRUE(InjectErrors(calls));
    // What this process has found out about volumes does not hold for what is played here.
    const NSAutoreleasePool pool;
    if (!testing::Test::HasFailure()) body();
    (void)std::fflush(stdout);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  EXPECT_GT(child, 0);
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tessary::test
