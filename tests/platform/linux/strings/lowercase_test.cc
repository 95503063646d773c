#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "platform/managers/text.h"

namespace tessary::test {
namespace {

struct LowercaseRow {
  std::u16string text;
  std::u16string lower;
};

const LowercaseRow kRows[] = {
    {u"", u""},
    {u"JPG", u"jpg"},
    {u"tar.GZ", u"tar.gz"},
    {u"@[`{09", u"@[`{09"},  // the neighbours of the ASCII letters
    {u"\u00c4\u00d6\u00dc\u00df",
     u"\u00e4\u00f6\u00fc\u00df"},                     // Latin-1; sharp s has no upper case
    {u"\u0391\u03a9", u"\u03b1\u03c9"},                // Greek
    {u"\u0416\u042f", u"\u0436\u044f"},                // Cyrillic
    {u"\u6587\u5b57", u"\u6587\u5b57"},                // a script without case
    {u"\U00010400", u"\U00010428"},                    // beyond the first plane
    {{0xdc80, u'A', 0xd800}, {0xdc80, u'a', 0xd800}},  // lone surrogates
};

TEST(CFStringLowercase, LowersEveryScriptAndKeepsTheRest) {
  for (const LowercaseRow& row : kRows) {
    EXPECT_EQ(row.lower, CFStringLowercase(row.text)) << Utf8FromUtf16(row.text);
  }
}

TEST(CFStringLowercase, DoesNotFollowTheLocale) {
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C"));
  for (const LowercaseRow& row : kRows) EXPECT_EQ(row.lower, CFStringLowercase(row.text));
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, saved.c_str()));
}

}  // namespace
}  // namespace tessary::test
