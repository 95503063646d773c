#include "tests/support/fault_injection/paused_calls.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "tests/support/fault_injection/supervised_calls.h"

namespace tessary::test {
namespace {

constexpr int kTimeoutSeconds = 60;

// Which argument is the name: the one behind the folder's descriptor, or the first.
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

// Piece by piece, as nothing need be mapped behind the page that the text ends in.
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

  int Decide(const SupervisedCall& made) {
    int error = 0;
    for (size_t i = 0; i < calls_.size(); ++i) {
      const PausedCall& held = calls_[i];
      if (made.number != held.number) continue;
      if (!held.name.empty() &&
          ReadRemoteString(made.process, made.arguments[NameArgumentIndex(made.number)]) !=
              held.name) {
        continue;
      }
      if (++callCounts_[i] != held.occurrence) continue;
      if (held.meanwhile) held.meanwhile();
      error = held.error;
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
  const std::vector<PausedCall>& calls_;
  std::vector<int> callCounts_;  // how often each was made
};

}  // namespace

void RunWithPausedCalls(const std::vector<PausedCall>& calls, const std::function<void()>& body) {
  std::set<int> numbers;
  for (const PausedCall& call : calls) numbers.insert(call.number);
  CallPauser pauser(calls);
  std::string output;
  const SupervisedResult end = RunSupervised(
      {numbers.begin(), numbers.end()},
      [&pauser](const SupervisedCall& call) { return pauser.Decide(call); },
      [&body] {
        body();
        return testing::Test::HasFailure() ? 1 : 0;
      },
      [](int status) { return status; }, kTimeoutSeconds, &output);
  if (!end.isSupervised) GTEST_SKIP() << "the kernel lends nobody a filter that asks";
  EXPECT_FALSE(end.hasTimedOut);
  EXPECT_EQ(0, end.signal);
  EXPECT_EQ(0, end.exitStatus) << output;
  pauser.ExpectAllCalled();
}

}  // namespace tessary::test
