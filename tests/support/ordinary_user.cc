#include "tests/support/ordinary_user.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/run_in_child.h"

namespace tessary::test {
namespace {

bool DropPrivileges() {
  if (geteuid() != 0) return true;
  return setgroups(0, nullptr) == 0 && setgid(kOrdinaryId) == 0 && setuid(kOrdinaryId) == 0;
}

}  // namespace

bool RunAsOrdinaryUser(const std::function<void()>& body) {
  return RunInChild([&body] {
    EXPECT_TRUE(DropPrivileges());
    if (!testing::Test::HasFailure()) body();
  });
}

}  // namespace tessary::test
