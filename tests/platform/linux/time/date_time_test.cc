#include "platform/managers/date_time.h"

#include <gtest/gtest.h>

#include <ctime>

namespace tessary::test {
namespace {

TEST(GetDateTime, CountsTheSecondsSince1904) {
  // As long as nobody sets the clock while the tests run, which moves no more than the difference.
  const auto expected = static_cast<uint32_t>(std::time(nullptr) + 2'082'844'800);
  const uint32_t now = GetDateTime();
  EXPECT_LE(now - expected + 3600, 7200U);
}

TEST(GetDateTime, NeverRunsBack) {
  uint32_t before = GetDateTime();
  for (int i = 0; i < 100'000; ++i) {
    const uint32_t now = GetDateTime();
    ASSERT_GE(now, before);
    before = now;
  }
}

}  // namespace
}  // namespace tessary::test
