#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tessary::test {

// A system call that is paused before it is made, so that another program can act in between. This
// makes a race happen every time.
struct PausedCall {
  int number = 0;                   // SYS_...
  std::string name;                 // only calls with this first name argument count; empty: all
  int occurrence = 1;               // which of these calls, from 1
  std::function<void()> meanwhile;  // runs in the test's own process; may be empty
  int error = 0;                    // the errno value that the call then fails with, or 0
  int command = 0;                  // of fcntl(2): only calls with this command count; 0: all
};

// Runs `body` in a child process that pauses at each of the calls, and in which no filesystem has
// been probed yet: the numbers of the calls do not depend on earlier tests. Expects that it makes
// all of
// them and that no expectation fails in it. Skips the test where the kernel does not support it;
// checks of the outcome therefore belong into `body`.
void RunWithPausedCalls(const std::vector<PausedCall>& calls, const std::function<void()>& body);

}  // namespace tessary::test
