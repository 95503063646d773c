#pragma once

#include <functional>

namespace tessary::test {

enum class KillResult {
  kNotPermitted,  // this process may not trace another one; nothing ran
  kKilled,
  kFinished,  // `body` made fewer calls and returned
  kFailed,    // an expectation failed in the child process, or it ended in another way
};

// Runs `body` in a child process and kills it, as kill -9 does, before its main thread makes system
// call number `call`, counted from 1. Only calls that may change files count: a kill between two
// such calls leaves the same files wherever it happens.
KillResult RunAndKillBeforeCall(unsigned call, const std::function<void()>& body);

}  // namespace tessary::test
