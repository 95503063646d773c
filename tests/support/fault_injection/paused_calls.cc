#include "tests/support/fault_injection/paused_calls.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "platform/managers/autorelease_pool.h"
#include "tests/support/fault_injection/supervised_calls.h"
#include "tests/support/fault_injection/system_call_names.h"

namespace tessary::test {
namespace {

constexpr int kTimeoutSeconds = 60;

// The argument that holds the name: the second one, after a folder's descriptor, or the first.
size_t NameArgumentIndex(int number) {
  switch (number) {
    case SYS_lgetxattr:
    case SYS_getxattr:
    case SYS_lsetxattr:
    case SYS_setxattr:
    case SYS_llistxattr:
    case SYS_listxattr:
      return 0;
    default:
      return 1;
  }
}

// Reads in pieces that do not cross pages: the page after the text may not be mapped.
std::string ReadRemoteString(pid_t process, uint64_t address) {
  constexpr size_t kPiece = 64;
  std::string text;
  while (text.size() < 4096) {
    std::array<char, kPiece> piece = {};
    const size_t size = kPiece - address % kPiece;
    iovec here = {piece.data(), size};
    iovec there = {reinterpret_cast<void*>(address), size};
    if (process_vm_readv(process, &here, 1, &there, 1, 0) <= 0) return {};
    const size_t length = strnlen(piece.data(), size);
    text.append(piece.data(), length);
    if (length < size) return text;
    address += size;
  }
  return text;
}

class CallPauser {
 public:
  explicit CallPauser(const std::vector<PausedCall>& calls)
      : calls_(calls), callCounts_(calls.size()) {}

  // Runs what is to happen before the call, and returns the error that it fails with or 0.
  int Decide(const SupervisedCall& call) {
    int error = 0;
    for (size_t i = 0; i < calls_.size(); ++i) {
      const PausedCall& paused = calls_[i];
      if (!Matches(call, paused) || ++callCounts_[i] != paused.occurrence) continue;
      if (paused.meanwhile) paused.meanwhile();
      error = paused.error;
    }
    return error;
  }

  void ExpectAllCalled() const {
    for (size_t i = 0; i < calls_.size(); ++i) {
      EXPECT_GE(callCounts_[i], calls_[i].occurrence)
          << NameOfCall(calls_[i].number) << " \"" << calls_[i].name << "\"";
    }
  }

 private:
  static bool Matches(const SupervisedCall& call, const PausedCall& paused) {
    if (call.number != paused.number) return false;
    if (paused.command != 0 && call.arguments[1] != static_cast<uint64_t>(paused.command)) {
      return false;
    }
    return paused.name.empty() ||
           paused.name ==
               ReadRemoteString(call.process, call.arguments[NameArgumentIndex(call.number)]);
  }

  const std::vector<PausedCall>& calls_;
  std::vector<int> callCounts_;  // how many calls matched each
};

}  // namespace

void RunWithPausedCalls(const std::vector<PausedCall>& calls, const std::function<void()>& body) {
  std::set<int> numbers;
  for (const PausedCall& call : calls) numbers.insert(call.number);
  CallPauser pauser(calls);
  const SupervisedResult result = RunSupervised(
      {numbers.begin(), numbers.end()},
      [&pauser](const SupervisedCall& call) { return pauser.Decide(call); },
      [&body] {
        // Drops the probe results of this process.
        const NSAutoreleasePool pool;
        body();
        return testing::Test::HasFailure() ? 1 : 0;
      },
      [](int status) { return status; }, kTimeoutSeconds);
  if (!result.isSupervised) GTEST_SKIP() << "the kernel does not support seccomp notifications";
  EXPECT_FALSE(result.hasTimedOut);
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitStatus) << result.output;
  pauser.ExpectAllCalled();
}

}  // namespace tessary::test
