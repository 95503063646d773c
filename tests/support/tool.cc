#include "tests/support/tool.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/support/memory_file.h"
#include "tests/support/run_in_child.h"

namespace tessary::test {
namespace {

[[noreturn]] void Execute(std::vector<std::string> arguments, int output) {
  const std::vector<char*> pointers = ArgumentPointers(&arguments);
  const char* path = std::getenv("PATH");
  const std::string folders =
      std::string(path == nullptr ? "/usr/bin:/bin" : path) + ":/usr/sbin:/sbin";
  setenv("PATH", folders.c_str(), 1);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  execvp(pointers[0], pointers.data());
  _exit(127);
}

}  // namespace

std::vector<char*> ArgumentPointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  for (std::string& text : *texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

ToolResult RunTool(const std::vector<std::string>& arguments) {
  const MemoryFile output;
  const pid_t child = ForkChild();
  if (child == 0) Execute(arguments, output.fd());
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {};
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output.Contents()};
}

pid_t StartTool(const std::vector<std::string>& arguments) {
  const pid_t child = ForkChild();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  Execute(arguments, open("/dev/null", O_WRONLY | O_CLOEXEC));
}

}  // namespace tessary::test
