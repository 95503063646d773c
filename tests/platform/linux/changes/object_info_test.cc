#include "platform/linux/changes/object_info.h"

#include <gtest/gtest.h>

namespace tessary::test {
namespace {

TEST(IsOnOtherMount, ComparesMountIds) {
  struct statx first = {};
  first.stx_mask = STATX_MNT_ID;
  first.stx_mnt_id = 7;
  first.stx_dev_minor = 1;
  struct statx second = first;
  EXPECT_FALSE(IsOnOtherMount(first, second));
  second.stx_mnt_id = 8;
  EXPECT_TRUE(IsOnOtherMount(first, second));
}

// Linux before 5.8 has no mount IDs.
TEST(IsOnOtherMount, ComparesDevicesWithoutMountIds) {
  struct statx first = {};
  first.stx_dev_minor = 1;
  struct statx second = first;
  second.stx_mnt_id = 8;
  EXPECT_FALSE(IsOnOtherMount(first, second));
  second.stx_dev_minor = 2;
  EXPECT_TRUE(IsOnOtherMount(first, second));
}

}  // namespace
}  // namespace tessary::test
