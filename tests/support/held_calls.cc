#include "tests/support/held_calls.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "tests/support/supervised_calls.h"

namespace tessary::testing {
namespace {

constexpr int kMostSeconds = 60;

// Which argument is the name: the one behind the folder's descriptor, or the first.
size_t NameArgumentOf(int number) {
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
std::string ReadText(pid_t process, uint64_t address) {
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

class Holder {
 public:
  explicit Holder(const std::vector<HeldCall>& calls) : calls_(calls), turns_(calls.size()) {}

  int Decide(const SupervisedCall& made) {
    int error = 0;
    for (size_t i = 0; i < calls_.size(); ++i) {
      const HeldCall& held = calls_[i];
      if (made.number != held.number) continue;
      if (!held.name.empty() &&
          ReadText(made.process, made.arguments[NameArgumentOf(made.number)]) != held.name) {
        continue;
      }
      if (++turns_[i] != held.turn) continue;
      if (held.meanwhile) held.meanwhile();
      error = held.error;
    }
    return error;
  }

  void ExpectAllMade() const {
    for (size_t i = 0; i < calls_.size(); ++i) {
      EXPECT_GE(turns_[i], calls_[i].turn)
          << NameOfCall(calls_[i].number) << " \"" << calls_[i].name << "\"";
    }
  }

 private:
  const std::vector<HeldCall>& calls_;
  std::vector<int> turns_;  // how often each was made
};

}  // namespace

void RunWithHeldCalls(const std::vector<HeldCall>& calls, const std::function<void()>& body) {
  std::set<int> numbers;
  for (const HeldCall& call : calls) numbers.insert(call.number);
  Holder holder(calls);
  std::string output;
  const SupervisedEnd end = RunSupervised(
      {numbers.begin(), numbers.end()},
      [&holder](const SupervisedCall& call) { return holder.Decide(call); },
      [&body] {
        body();
        return ::testing::Test::HasFailure() ? 1 : 0;
      },
      [](int status) { return status; }, kMostSeconds, &output);
  if (!end.isSupervised) GTEST_SKIP() << "the kernel lends nobody a filter that asks";
  EXPECT_FALSE(end.hasHung);
  EXPECT_EQ(0, end.signal);
  EXPECT_EQ(0, end.exitStatus) << output;
  holder.ExpectAllMade();
}

}  // namespace tessary::testing
