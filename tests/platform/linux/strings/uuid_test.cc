#include "platform/managers/uuid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace tessary::test {
namespace {

TEST(CFUUIDCreateString, RandomUpperCaseUuid) {
  for (int i = 0; i < 1000; ++i) {
    const auto uuid = CFUUIDCreateString();
    ASSERT_TRUE(uuid);
    ASSERT_EQ(36U, uuid->size());
    ASSERT_THAT(*uuid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-"
                                             "[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  }
}

TEST(CFUUIDCreateString, ValuesAreUnique) {
  std::set<std::string> made;
  for (int i = 0; i < 1000; ++i) made.insert(CFUUIDCreateString().value_or(""));
  EXPECT_EQ(1000U, made.size());
}

}  // namespace
}  // namespace tessary::test
