#include "platform/linux/mac_formats/comment_property.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/mac_bytes.h"

namespace tessary {
namespace {

using testing::FromHex;

struct ListRow {
  std::string_view list;
  std::u16string text;
};

std::u16string RepeatedText() {
  std::u16string text;
  for (int i = 0; i < 100; ++i) text += u"\u00e9\U0001f4c1";
  return text;
}

const std::array kLists = {
    ListRow{testing::kPropertyAscii, u"to be checked"},
    ListRow{testing::kPropertyUtf16, u"ask K\u00e4the"},
    ListRow{testing::kPropertyEmpty, u""},
    ListRow{testing::kPropertyLong, std::u16string(300, u'x')},
    ListRow{testing::kPropertyLongUtf16, RepeatedText()},
};

TEST(ReadCommentProperty, ReadsWhatOtherProgramsWrite) {
  for (const ListRow& row : kLists) EXPECT_EQ(row.text, ReadCommentProperty(FromHex(row.list)));
  EXPECT_EQ(u"ask K\u00e4the", ReadCommentProperty(FromHex(testing::kCommentOfSambaStream)));
  EXPECT_EQ(u"ask K\u00e4the", ReadCommentProperty(FromHex(testing::kCommentOfSambaNetatalk)));
}

TEST(WriteCommentProperty, WritesTheSameBytesAsTheyDo) {
  for (const ListRow& row : kLists) EXPECT_EQ(FromHex(row.list), WriteCommentProperty(row.text));
}

TEST(WriteCommentProperty, IsReadBackAtEveryLength) {
  for (const char16_t unit : {u'x', u'\u00e9', u'\xDC80'}) {
    for (const size_t length : {1U, 14U, 15U, 16U, 255U, 256U, 70'000U}) {
      const std::u16string text(length, unit);
      EXPECT_EQ(text, ReadCommentProperty(WriteCommentProperty(text))) << length;
      EXPECT_EQ(text, ReadCommentProperty(WriteCommentProperty(text) + '\0')) << length;
    }
  }
}

TEST(ReadCommentProperty, ReadsNothingElse) {
  EXPECT_FALSE(ReadCommentProperty(""));
  EXPECT_FALSE(ReadCommentProperty("to be checked"));
  EXPECT_FALSE(ReadCommentProperty("<?xml version=\"1.0\"?><plist><string>a</string></plist>"));
  EXPECT_FALSE(ReadCommentProperty(FromHex(testing::kPropertyOfTwoTexts)));
  EXPECT_FALSE(ReadCommentProperty(FromHex(testing::kPropertyOfANumber)));
}

TEST(ReadCommentProperty, ReadsNothingThatIsCutShort) {
  for (const ListRow& row : kLists) {
    const std::string list = FromHex(row.list);
    for (size_t size = 0; size < list.size(); ++size) {
      EXPECT_FALSE(ReadCommentProperty(list.substr(0, size))) << size << " of " << row.list;
    }
  }
}

TEST(ReadCommentProperty, ReadsNothingBehindItsEnd) {
  const std::string list = FromHex(testing::kPropertyLong);
  const auto changed = [&list](size_t at, const std::string& digits) {
    std::string other = list;
    const std::string bytes = FromHex(digits);
    return ReadCommentProperty(other.replace(at, bytes.size(), bytes));
  };
  const size_t trailer = list.size() - 32;
  EXPECT_TRUE(changed(0, "")) << "the list itself";
  EXPECT_FALSE(changed(9, "13ffffffffffffffff")) << "a length of 64 bits";
  EXPECT_FALSE(changed(10, "012d")) << "one unit more, which is the table's";
  EXPECT_FALSE(changed(9, "14")) << "a length of 16 bytes";
  EXPECT_FALSE(changed(9, "21")) << "a length that is no number";
  EXPECT_FALSE(changed(12, "80")) << "a unit that is not ASCII";
  EXPECT_FALSE(changed(trailer + 6, "00")) << "entries without size";
  EXPECT_FALSE(changed(trailer + 6, "09")) << "entries of nine bytes";
  EXPECT_FALSE(changed(trailer + 8, "0000000000000000")) << "no objects";
  EXPECT_FALSE(changed(trailer + 16, "0000000000000001")) << "an object too far";
  EXPECT_FALSE(changed(trailer + 24, "ffffffffffffffff")) << "a table behind the end";
  EXPECT_FALSE(changed(trailer + 24, "0000000000000000")) << "a table in the head";
  EXPECT_FALSE(changed(trailer - 2, "0000")) << "an object in the head";
  EXPECT_FALSE(changed(trailer - 2, "0138")) << "an object in the table";
}

}  // namespace
}  // namespace tessary
