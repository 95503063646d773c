#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace tessary::test {

// A system call that the kernel is to refuse, as a volume or an older kernel would.
struct InjectedError {
  long number = 0;  // SYS_...
  int error = 0;    // the errno that it answers
  int argument =
      0;  // refused only where this argument has one of these bits, unless there are none
  uint32_t bits = 0;
};

// Has the kernel refuse the calls to this process from here on, and to those that it starts. False
// where it cannot.
bool InjectErrors(const std::vector<InjectedError>& calls);

// Runs `body` in a child process to which the kernel refuses the calls. True when nothing failed in
// it.
bool RunWithInjectedErrors(const std::vector<InjectedError>& calls,
                           const std::function<void()>& body);

}  // namespace tessary::test
