#include <gtest/gtest.h>

#include <cstddef>

#include "platform/managers/apple_events.h"
#include "tests/support/apple_events.h"

namespace tessary::test {
namespace {

TEST(AECreateDesc, OutOfMemory) {
  AEDesc desc = MakeShort(1);
  EXPECT_EQ(memFullErr, AECreateDesc(typeUnicodeText, "", size_t{1} << 62U, &desc));
  EXPECT_EQ("shor[01 00]", Describe(desc));
}

}  // namespace
}  // namespace tessary::test
