#include "platform/linux/mac_formats/mac_text.h"

#include <gtest/gtest.h>

#include <string>

namespace tessary::test {
namespace {

TEST(MacText, ReadsUtf8) {
  EXPECT_EQ(u"to be checked", ReadMacText("to be checked"));
  EXPECT_EQ(u"K\u00e4the", ReadMacText("K\u00e4the"));
  EXPECT_EQ(u"", ReadMacText(""));
}

TEST(MacText, ReadsMacOsRoman) {
  EXPECT_EQ(u"K\u00e4the", ReadMacText("K\x8Athe"));
  EXPECT_EQ(u"\u00c4\u20ac\u02c7", ReadMacText("\x80\xDB\xFF"));
}

TEST(MacText, RoundTripsOrIsNone) {
  EXPECT_EQ("K\x8Athe", WriteMacText(u"K\u00e4the"));
  EXPECT_EQ("", WriteMacText(u""));
  EXPECT_FALSE(WriteMacText(u"\u4e2d"));
  EXPECT_FALSE(WriteMacText(u"\U0001f4c1"));
  // Its bytes in Mac OS Roman, C3 A4, are also well-formed UTF-8, for another text.
  EXPECT_FALSE(WriteMacText(u"\u221a\u00a7"));
  for (int byte = 1; byte < 0x100; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    EXPECT_EQ(bytes, WriteMacText(ReadMacText(bytes))) << byte;
  }
}

}  // namespace
}  // namespace tessary::test
