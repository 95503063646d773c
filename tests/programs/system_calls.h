#pragma once

#include <sys/types.h>

#include <map>
#include <string>

namespace tessary::test {

// How often each system call was made, by its name; one that failed counts under its name and that
// of its error, as "statx ENOENT". What an allocator asks for is left out, because how often it
// asks depends on what it was left with.
using CallCounts = std::map<std::string, int>;

// True where this process may follow the calls of one that it starts.
bool CanCountCalls();

// For the process to be followed, before it becomes the program: has its parent follow it. False
// where that is forbidden.
bool AllowCallCounting();

// Follows that process from the beginning of its program to its end, adding to `*counts`. Answers
// its status as waitpid does.
int CountCalls(pid_t child, CallCounts* counts);

}  // namespace tessary::test
