#include "platform/linux/catalog/temp_name.h"

#include <gtest/gtest.h>

namespace tessary::test {
namespace {

TEST(IsTempName, AcceptsOnlyPrefixAndUuid) {
  EXPECT_TRUE(IsTempName(".tessary-01234567-89AB-CDEF-0123-456789ABCDEF"));
  for (const char* name : {"", ".tessary-", ".tessary", ".tessary-notes",
                           "tessary-01234567-89AB-CDEF-0123-456789ABCDEF",
                           ".tessary-01234567-89AB-CDEF-0123-456789ABCDE",
                           ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF0",
                           ".tessary-01234567-89ab-cdef-0123-456789abcdef",
                           ".tessary-0123456789ABCDEF0123456789ABCDEF",
                           ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF.txt",
                           ".tessary-01234567-89AB-CDEF-0123_456789ABCDEF",
                           ".Tessary-01234567-89AB-CDEF-0123-456789ABCDEF",
                           ".tessary-G1234567-89AB-CDEF-0123-456789ABCDEF"}) {
    EXPECT_FALSE(IsTempName(name)) << name;
  }
}

}  // namespace
}  // namespace tessary::test
