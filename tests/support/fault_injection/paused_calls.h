#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tessary::test {

// A system call that is held up before it is made, so that something happens in between that
// otherwise only chance could bring about.
struct PausedCall {
  int number = 0;                   // SYS_...
  std::string name;                 // the first name among its arguments; any where it is empty
  int occurrence = 1;               // which of those calls, from 1
  std::function<void()> meanwhile;  // what another program does then; may be empty
  int error = 0;                    // what the call fails with; 0 has it made
};

// Runs `body` in a child process that makes each of the calls as told. Expects that it makes all of
// them, and that nothing fails in it. Skips the test where the kernel lends nobody such a filter;
// so what is to be looked at afterwards, the body looks at.
void RunWithPausedCalls(const std::vector<PausedCall>& calls, const std::function<void()>& body);

}  // namespace tessary::test
