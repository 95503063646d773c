#include "platform/managers/date_time.h"

#include <gtest/gtest.h>

#include <ctime>

namespace tessary::test {
namespace {

TEST(GetDateTime, CountsSecondsSince1904) {
  // The two clocks differ if the system clock is set while the tests run; an hour is allowed.
  const auto expected = static_cast<uint32_t>(std::time(nullptr) + 2'082'844'800);
  const uint32_t now = GetDateTime();
  EXPECT_LE(now - expected + 3600, 7200U);
}

TEST(GetDateTime, NeverDecreases) {
  uint32_t before = GetDateTime();
  for (int i = 0; i < 100'000; ++i) {
    const uint32_t now = GetDateTime();
    ASSERT_GE(now, before);
    before = now;
  }
}

}  // namespace
}  // namespace tessary::test
