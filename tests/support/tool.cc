#include "tests/support/tool.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {
namespace {

[[noreturn]] void Become(std::vector<std::string> arguments, int output) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
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

ToolResult RunTool(const std::vector<std::string>& arguments) {
  const UniqueFd output(memfd_create("tool", MFD_CLOEXEC));
  (void)std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) Become(arguments, output.get());
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {};
  ToolResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.output.resize(static_cast<size_t>(lseek(output.get(), 0, SEEK_END)));
  const ssize_t size = pread(output.get(), result.output.data(), result.output.size(), 0);
  result.output.resize(size < 0 ? 0 : static_cast<size_t>(size));
  return result;
}

pid_t StartTool(const std::vector<std::string>& arguments) {
  (void)std::fflush(stdout);
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  Become(arguments, open("/dev/null", O_WRONLY | O_CLOEXEC));
}

}  // namespace tessary::test
