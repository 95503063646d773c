#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tessary::test {

// What a program that a test calls said and how it ended.
struct ToolResult {
  int status = -1;     // the exit status; 127 where there is no such program
  std::string output;  // what it wrote to both standard output and standard error
};

// Runs the program, which may lie in one of the system administrator's folders, and waits for it.
ToolResult RunTool(const std::vector<std::string>& arguments);

// Starts the program and does not wait. What it writes goes nowhere, and it is asked to end when
// this process ends. -1 where it could not be started.
pid_t StartTool(const std::vector<std::string>& arguments);

}  // namespace tessary::test
