#include "tests/support/fault_injection/injected_errors.h"

#include <gtest/gtest.h>
#include <linux/seccomp.h>

#include "platform/managers/autorelease_pool.h"
#include "tests/support/fault_injection/seccomp_filter.h"
#include "tests/support/run_in_child.h"

namespace tessary::test {

bool InjectErrors(const std::vector<InjectedError>& errors) {
  SeccompFilter filter;
  for (const InjectedError& each : errors) {
    filter.AddRule(each.number, SECCOMP_RET_ERRNO | static_cast<uint32_t>(each.error),
                   each.argument, each.bits);
  }
  return filter.Install();
}

bool RunWithInjectedErrors(const std::vector<InjectedError>& errors,
                           const std::function<void()>& body) {
  return RunInChild([&errors, &body] {
    EXPECT_TRUE(InjectErrors(errors));
    // Drops the probe results of this process: with the errors, the filesystems lack capabilities.
    const NSAutoreleasePool pool;
    if (!testing::Test::HasFailure()) body();
  });
}

}  // namespace tessary::test
