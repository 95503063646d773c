#include "tests/support/run_in_child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace tessary::test {

bool RunInChild(const std::function<void()>& body) {
  const pid_t child = ForkChild();
  if (child == 0) {
    body();
    ExitChild();
  }
  int status = 0;
  EXPECT_GT(child, 0);
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

pid_t ForkChild() {
  (void)std::fflush(stdout);
  return fork();
}

void ExitChild() {
  (void)std::fflush(stdout);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace tessary::test
