#include "platform/linux/mac_formats/comment_plist.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/mac_test_data.h"

namespace tessary::test {
namespace {

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
    ListRow{kPropertyAscii, u"to be checked"},
    ListRow{kPropertyUtf16, u"ask K\u00e4the"},
    ListRow{kPropertyEmpty, u""},
    ListRow{kPropertyLong, std::u16string(300, u'x')},
    ListRow{kPropertyLongUtf16, RepeatedText()},
};

TEST(ReadCommentPlist, ReadsOtherProgramsLists) {
  for (const ListRow& row : kLists) EXPECT_EQ(row.text, ReadCommentPlist(FromHex(row.list)));
  EXPECT_EQ(u"ask K\u00e4the", ReadCommentPlist(FromHex(kCommentOfSambaStream)));
  EXPECT_EQ(u"ask K\u00e4the", ReadCommentPlist(FromHex(kCommentOfSambaNetatalk)));
}

TEST(WriteCommentPlist, MatchesOtherPrograms) {
  for (const ListRow& row : kLists) EXPECT_EQ(FromHex(row.list), WriteCommentPlist(row.text));
}

TEST(WriteCommentPlist, RoundTripsEveryLength) {
  for (const char16_t unit : {u'x', u'\u00e9', u'\xDC80'}) {
    for (const size_t length : {1U, 14U, 15U, 16U, 255U, 256U, 70'000U}) {
      const std::u16string text(length, unit);
      EXPECT_EQ(text, ReadCommentPlist(WriteCommentPlist(text))) << length;
      EXPECT_EQ(text, ReadCommentPlist(WriteCommentPlist(text) + '\0')) << length;
    }
  }
}

TEST(ReadCommentPlist, RejectsOtherData) {
  EXPECT_FALSE(ReadCommentPlist(""));
  EXPECT_FALSE(ReadCommentPlist("to be checked"));
  EXPECT_FALSE(ReadCommentPlist("<?xml version=\"1.0\"?><plist><string>a</string></plist>"));
  EXPECT_FALSE(ReadCommentPlist(FromHex(kPropertyOfTwoTexts)));
  EXPECT_FALSE(ReadCommentPlist(FromHex(kPropertyOfANumber)));
}

TEST(ReadCommentPlist, RejectsTruncatedLists) {
  for (const ListRow& row : kLists) {
    const std::string list = FromHex(row.list);
    for (size_t size = 0; size < list.size(); ++size) {
      EXPECT_FALSE(ReadCommentPlist(list.substr(0, size))) << size << " of " << row.list;
    }
  }
}

TEST(ReadCommentPlist, RejectsOutOfBounds) {
  const std::string list = FromHex(kPropertyLong);
  const auto changed = [&list](size_t at, const std::string& digits) {
    std::string other = list;
    const std::string bytes = FromHex(digits);
    return ReadCommentPlist(other.replace(at, bytes.size(), bytes));
  };
  const size_t trailer = list.size() - 32;
  EXPECT_TRUE(changed(0, "")) << "the unchanged list";
  EXPECT_FALSE(changed(9, "13ffffffffffffffff")) << "a length of 64 bits";
  EXPECT_FALSE(changed(10, "012d")) << "one unit more, which would be in the table";
  EXPECT_FALSE(changed(9, "14")) << "a length of 16 bytes";
  EXPECT_FALSE(changed(9, "21")) << "a length that is not a number";
  EXPECT_FALSE(changed(12, "80")) << "a unit that is not ASCII";
  EXPECT_FALSE(changed(trailer + 6, "00")) << "table entries of size 0";
  EXPECT_FALSE(changed(trailer + 6, "09")) << "table entries of nine bytes";
  EXPECT_FALSE(changed(trailer + 8, "0000000000000000")) << "no objects";
  EXPECT_FALSE(changed(trailer + 16, "0000000000000001")) << "a root index that is too large";
  EXPECT_FALSE(changed(trailer + 24, "ffffffffffffffff")) << "a table after the end";
  EXPECT_FALSE(changed(trailer + 24, "0000000000000000")) << "a table inside the head";
  EXPECT_FALSE(changed(trailer - 2, "0000")) << "an object inside the head";
  EXPECT_FALSE(changed(trailer - 2, "0138")) << "an object inside the table";
  EXPECT_FALSE(changed(trailer - 4, "5f130136")) << "a length that ends in the table";
}

}  // namespace
}  // namespace tessary::test
