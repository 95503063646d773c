#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tessary::test {

// A system call that a supervised process is about to make.
struct SupervisedCall {
  int number = 0;                       // SYS_...
  std::array<uint64_t, 6> arguments{};  // as passed to the kernel; addresses are those of `process`
  pid_t process = 0;                    // waits for the decision
};

// How a supervised process ended.
struct SupervisedResult {
  bool isSupervised = false;  // false where the kernel does not support it; nothing ran
  bool hasTimedOut = false;   // and was killed
  int signal = 0;             // the signal that ended it, or 0
  int exitStatus = 0;
  std::string output;  // of standard output and standard error
};

// Decides about a call: 0 to have it made, or the errno value with which it fails without any
// effect.
using CallDecision = std::function<int(const SupervisedCall&)>;

// Runs `body` in a child process and asks `decide`, in this process, about each call of one of the
// numbers before it is made. Writing to standard input, output and error is not asked about. A
// failed close(2) closes the descriptor all the same, as it does on Linux.
//
// The child exits with what `finish` returns for the result of `body`; the calls of `finish` are
// not asked about. After `seconds` the child is killed.
SupervisedResult RunSupervised(const std::vector<int>& numbers, const CallDecision& decide,
                               const std::function<int()>& body,
                               const std::function<int(int status)>& finish, int seconds);

}  // namespace tessary::test
