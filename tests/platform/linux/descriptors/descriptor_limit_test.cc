#include "platform/linux/descriptors/descriptor_limit.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "platform/managers/standard_files.h"
#include "tests/support/fault_injection/injected_errors.h"

namespace tessary::test {
namespace {

rlimit DescriptorLimit() {
  rlimit limit = {};
  EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
  return limit;
}

void SetDescriptorLimit(rlim_t count) {
  rlimit limit = DescriptorLimit();
  limit.rlim_cur = count;
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
}

TEST(DescriptorBudget, IsUsualNumberOrShareOfLimit) {
  const struct {
    rlim_t limit;
    size_t usual;
    size_t shares;
    size_t expected;
  } rows[] = {
      {256, 64, 4, 64}, {255, 64, 4, 63}, {24, 64, 4, 6}, {24, 32, 8, 3},
      {20, 64, 4, 5},   {8, 64, 4, 2},    {7, 64, 4, 2},  {7, 32, 8, 2},
  };
  EXPECT_TRUE(RunWithInjectedErrors({}, [&] {
    for (const auto& row : rows) {
      SetDescriptorLimit(row.limit);
      EXPECT_EQ(row.expected, DescriptorBudget(row.usual, row.shares)) << row.limit;
    }
  }));
}

TEST(PrepareStandardFiles, RaisesDescriptorLimit) {
  EXPECT_TRUE(RunWithInjectedErrors({}, [] {
    SetDescriptorLimit(20);
    PrepareStandardFiles();
    EXPECT_EQ(DescriptorLimit().rlim_max, DescriptorLimit().rlim_cur);
    EXPECT_LT(20U, DescriptorLimit().rlim_cur);
  }));
}

}  // namespace
}  // namespace tessary::test
