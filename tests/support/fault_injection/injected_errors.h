#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace tessary::test {

// A system call that the kernel fails with an error and without any effect, as another filesystem
// or an older kernel would.
struct InjectedError {
  long number = 0;  // SYS_...
  int error = 0;    // the errno value
  // If `bits` is not 0, only calls with one of these bits in this argument (0 to 5) fail.
  int argument = 0;
  uint32_t bits = 0;
};

// Injects the errors into this process, and into those that it starts, for good. Returns false
// where the kernel does not support it.
bool InjectErrors(const std::vector<InjectedError>& errors);

// Runs `body` in a child process with the errors injected. Returns true if no expectation failed in
// it.
bool RunWithInjectedErrors(const std::vector<InjectedError>& errors,
                           const std::function<void()>& body);

}  // namespace tessary::test
