#pragma once

#include <sys/types.h>

#include <functional>

namespace tessary::test {

// Runs `body` in a child process. Returns true if the child exits by itself and none of its
// expectations failed.
bool RunInChild(const std::function<void()>& body);

// fork(2), after writing out what is buffered: otherwise both processes would write it.
pid_t ForkChild();

// Ends a child process. It exits with 0 if none of its expectations failed, otherwise with 1.
[[noreturn]] void ExitChild();

}  // namespace tessary::test
