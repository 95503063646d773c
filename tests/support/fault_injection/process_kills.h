#pragma once

#include <functional>

namespace tessary::test {

enum class KillResult {
  kNotPermitted,  // the machine lets no process watch another; the test has nothing to go on
  kKilled,
  kFinished,  // it made fewer calls and came to its end
  kFailed,    // something failed in it
};

// Runs `body` in a child process, which is killed as by kill -9 before it makes its system call
// number `call`, counted from 1 within `body`. Only calls that change files count: between two of
// them it leaves the same behind wherever it dies.
KillResult RunAndKillBeforeCall(unsigned call, const std::function<void()>& body);

}  // namespace tessary::test
