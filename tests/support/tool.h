#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tessary::test {

// The arguments in the form that execv(3) needs, ending with a null pointer. They point into
// `texts`.
std::vector<char*> ArgumentPointers(std::vector<std::string>* texts);

struct ToolResult {
  int status = -1;     // the exit status; 127 if there is no such program
  std::string output;  // of standard output and standard error
};

// Runs a program, also one from /usr/sbin or /sbin, and waits for it.
ToolResult RunTool(const std::vector<std::string>& arguments);

// Starts a program and does not wait. Its output is discarded, and it gets SIGTERM when this
// process ends. Returns -1 if it could not be started.
pid_t StartTool(const std::vector<std::string>& arguments);

}  // namespace tessary::test
