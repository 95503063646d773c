#pragma once

#include <sys/types.h>

#include <map>
#include <string>

namespace tessary::test {

// The number of calls of each system call by name; failed calls are counted by name and error, as
// "statx ENOENT". Calls of the allocator are not counted, because they depend on its state, and
// neither are those by which threads wait, which depend on the time.
using CallCounts = std::map<std::string, int>;

// True if this process may trace a process that it starts.
bool CanCountCalls();

// Called by the child before it executes the program: lets its parent trace it. Returns false if
// that is forbidden.
bool AllowCallCounting();

// Traces the child from the start of its program, or from where it stops itself, to its end, and
// adds the calls of its main thread to `*counts`. If `otherThreads` is not null, adds those of its
// other threads to it. Returns the child's status as waitpid does.
int CountCalls(pid_t child, CallCounts* counts, CallCounts* otherThreads = nullptr);

}  // namespace tessary::test
