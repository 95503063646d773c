#include "tests/support/ordinary_user.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace tessary::test {
namespace {

constexpr unsigned kOrdinaryId = 65534;

bool GiveUpPrivileges() {
  if (geteuid() != 0) return true;
  return setgroups(0, nullptr) == 0 && setgid(kOrdinaryId) == 0 && setuid(kOrdinaryId) == 0;
}

}  // namespace

bool RunAsOrdinaryUser(const std::function<void()>& body) {
  // What stands in the buffer would be written by both processes.
  (void)std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    EXPECT_TRUE(GiveUpPrivileges());
    if (!testing::Test::HasFailure()) body();
    (void)std::fflush(stdout);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  EXPECT_GT(child, 0);
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tessary::test
