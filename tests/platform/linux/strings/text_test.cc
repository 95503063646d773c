#include "platform/managers/text.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace tessary::test {
namespace {

// The forms of well-formed multi-byte sequences: the range of each byte.
struct SequenceForm {
  size_t length;
  std::array<unsigned char, 4> from;
  std::array<unsigned char, 4> to;
};

constexpr std::array<SequenceForm, 8> kForms = {{
    {2, {0xC2, 0x80, 0, 0}, {0xDF, 0xBF, 0, 0}},
    {3, {0xE0, 0xA0, 0x80, 0}, {0xE0, 0xBF, 0xBF, 0}},
    {3, {0xE1, 0x80, 0x80, 0}, {0xEC, 0xBF, 0xBF, 0}},
    {3, {0xED, 0x80, 0x80, 0}, {0xED, 0x9F, 0xBF, 0}},
    {3, {0xEE, 0x80, 0x80, 0}, {0xEF, 0xBF, 0xBF, 0}},
    {4, {0xF0, 0x90, 0x80, 0x80}, {0xF0, 0xBF, 0xBF, 0xBF}},
    {4, {0xF1, 0x80, 0x80, 0x80}, {0xF3, 0xBF, 0xBF, 0xBF}},
    {4, {0xF4, 0x80, 0x80, 0x80}, {0xF4, 0x8F, 0xBF, 0xBF}},
}};

unsigned char ByteAt(const std::string& text, size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool BeginsWithForm(const std::string& text, size_t at, const SequenceForm& form) {
  if (text.size() - at < form.length) return false;
  for (size_t i = 0; i < form.length; ++i) {
    if (ByteAt(text, at + i) < form.from[i] || ByteAt(text, at + i) > form.to[i]) return false;
  }
  return true;
}

// True if `text` consists of ASCII and sequences of the table.
bool IsMadeOfForms(const std::string& text) {
  size_t at = 0;
  while (at < text.size()) {
    size_t length = ByteAt(text, at) < 0x80 ? 1 : 0;
    for (const SequenceForm& form : kForms) {
      if (BeginsWithForm(text, at, form)) length = form.length;
    }
    if (length == 0) return false;
    at += length;
  }
  return true;
}

struct TextRow {
  std::string utf8;
  std::u16string utf16;
};

const std::vector<TextRow> kWellFormed = {
    {"", u""},
    {"plain", u"plain"},
    {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
    {"a name longer than a machine word", u"a name longer than a machine word"},
    {"na\xC3\xAFve caf\xC3\xA9", u"na\u00EFve caf\u00E9"},
    {"\xDF\xBF\xE0\xA0\x80", u"\u07FF\u0800"},
    {"\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000"},
    {"\xEF\xBF\xBF\xF0\x90\x80\x80", u"\uFFFF\U00010000"},
    {"\xF0\x9F\x93\x81/\xF4\x8F\xBF\xBF", u"\U0001F4C1/\U0010FFFF"},
};

const std::vector<TextRow> kIllFormed = {
    {"caf\xE9.txt", {u'c', u'a', u'f', 0xDCE9, u'.', u't', u'x', u't'}},
    {"12345678\x80", {u'1', u'2', u'3', u'4', u'5', u'6', u'7', u'8', 0xDC80}},
    {"\xFF\xFE", {0xDCFF, 0xDCFE}},
    {"\xC0\xAF", {0xDCC0, 0xDCAF}},                          // overlong "/"
    {"\xE0\x9F\xBF", {0xDCE0, 0xDC9F, 0xDCBF}},              // overlong
    {"\xF0\x8F\xBF\xBF", {0xDCF0, 0xDC8F, 0xDCBF, 0xDCBF}},  // overlong
    {"\xED\xA0\x80", {0xDCED, 0xDCA0, 0xDC80}},              // a high surrogate
    {"\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},              // the form of U+DC80 itself
    {"\xED\xBF\xBF", {0xDCED, 0xDCBF, 0xDCBF}},              // a low surrogate
    {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},  // beyond U+10FFFF
    {"\xF8\x88\x80\x80\x80", {0xDCF8, 0xDC88, 0xDC80, 0xDC80, 0xDC80}},
    {"\xE2\x82", {0xDCE2, 0xDC82}},  // truncated
    {"\xE2\x82z", {0xDCE2, 0xDC82, u'z'}},
    {"\xF0\x9F\x93\xC3\xA9", {0xDCF0, 0xDC9F, 0xDC93, 0x00E9}},
    {"\xF0\x9F\x93\x81\x80", {0xD83D, 0xDCC1, 0xDC80}},
};

TEST(Text, ConvertsWellFormedText) {
  for (const TextRow& row : kWellFormed) {
    EXPECT_EQ(row.utf16, Utf16FromUtf8(row.utf8)) << row.utf8;
    EXPECT_EQ(row.utf8, Utf8FromUtf16(row.utf16)) << row.utf8;
    EXPECT_TRUE(IsUtf8(row.utf8)) << row.utf8;
  }
}

TEST(Text, EscapesIllFormedBytes) {
  for (const TextRow& row : kIllFormed) {
    EXPECT_EQ(row.utf16, Utf16FromUtf8(row.utf8)) << testing::PrintToString(row.utf8);
    EXPECT_EQ(row.utf8, Utf8FromUtf16(row.utf16)) << testing::PrintToString(row.utf8);
    EXPECT_FALSE(IsUtf8(row.utf8)) << testing::PrintToString(row.utf8);
  }
}

TEST(Text, NonAsciiAtEveryPosition) {
  for (size_t at = 0; at < 20; ++at) {
    for (const auto& [utf8, utf16] : std::vector<TextRow>{{"\x7F", u"\x7F"},
                                                          {"\xC2\x80", {0x80}},
                                                          {"\xC4\x80", {0x100}},
                                                          {"\xE7\xBC\x80", {0x7F00}},
                                                          {"\xFF", {0xDCFF}}}) {
      const std::string bytes = std::string(at, 'a') + utf8 + std::string(20 - at, 'z');
      const std::u16string units = std::u16string(at, u'a') + utf16 + std::u16string(20 - at, u'z');
      EXPECT_EQ(units, Utf16FromUtf8(bytes)) << at;
      EXPECT_EQ(bytes, Utf8FromUtf16(units)) << at;
    }
  }
}

TEST(Text, OtherLoneSurrogates) {
  EXPECT_EQ("\xED\xA0\x80", Utf8FromUtf16(std::u16string{0xD800}));
  EXPECT_EQ("\xED\xAF\xBF.", Utf8FromUtf16(std::u16string{0xDBFF, u'.'}));
  EXPECT_EQ("\xED\xB0\x80", Utf8FromUtf16(std::u16string{0xDC00}));
  EXPECT_EQ("\xED\xB1\xBF", Utf8FromUtf16(std::u16string{0xDC7F}));
  EXPECT_EQ("\xED\xB4\x80", Utf8FromUtf16(std::u16string{0xDD00}));
  EXPECT_EQ("\xED\xBF\xBF", Utf8FromUtf16(std::u16string{0xDFFF}));
}

TEST(Text, HighSurrogateBeforeEscape) {
  EXPECT_EQ("\xF0\x90\x82\x80", Utf8FromUtf16(std::u16string{0xD800, 0xDC80}));
}

TEST(Text, RoundTripsShortStrings) {
  EXPECT_EQ("", Utf8FromUtf16(Utf16FromUtf8("")));
  size_t failures = 0;
  for (size_t length = 1; length <= 2; ++length) {
    std::string text(length, '\0');
    for (size_t number = 0; number < size_t{1} << (8 * length); ++number) {
      for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>(number >> (8 * i) & 0xFF);
      if (Utf8FromUtf16(Utf16FromUtf8(text)) != text) ++failures;
    }
  }
  EXPECT_EQ(0U, failures);
}

// All sequences of four bytes from those at the ends of the table's ranges, and next to them.
TEST(Text, BoundaryBytes) {
  const std::string edges(
      "\x00\x41\x7F\x80\x81\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1"
      "\xF3\xF4\xF5\xFF",
      26);
  size_t wellFormed = 0;
  std::string text(4, '\0');
  for (size_t number = 0; number < edges.size() * edges.size() * edges.size() * edges.size();
       ++number) {
    size_t rest = number;
    for (char& byte : text) {
      byte = edges[rest % edges.size()];
      rest /= edges.size();
    }
    const bool isWellFormed = IsMadeOfForms(text);
    wellFormed += isWellFormed ? 1 : 0;
    ASSERT_EQ(isWellFormed, IsUtf8(text)) << testing::PrintToString(text);
    const std::u16string converted = Utf16FromUtf8(text);
    ASSERT_EQ(text, Utf8FromUtf16(converted)) << testing::PrintToString(text);
  }
  EXPECT_GT(wellFormed, 0U);
}

TEST(Text, RoundTripsRandomBytes) {
  std::mt19937 random(20261121);  // NOLINT(bugprone-random-generator-seed): the same in every run
  std::uniform_int_distribution<size_t> lengths(0, 300);
  std::uniform_int_distribution<int> bytes(0, 255);
  std::uniform_int_distribution<size_t> pieces(0, kWellFormed.size() - 1);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (const size_t length = lengths(random); text.size() < length;) {
      if (bytes(random) < 128) {
        text.push_back(static_cast<char>(bytes(random)));
      } else {
        text += kWellFormed[pieces(random)].utf8;
      }
    }
    ASSERT_EQ(text, Utf8FromUtf16(Utf16FromUtf8(text))) << testing::PrintToString(text);
  }
}

struct LowercaseRow {
  std::u16string text;
  std::u16string lower;
};

const LowercaseRow kRows[] = {
    {u"", u""},
    {u"JPG", u"jpg"},
    {u"tar.GZ", u"tar.gz"},
    {u"@[`{09", u"@[`{09"},  // next to the ASCII letters
    {u"\u00c4\u00d6\u00dc\u00df",
     u"\u00e4\u00f6\u00fc\u00df"},                     // Latin-1; sharp s has no upper case
    {u"\u0391\u03a9", u"\u03b1\u03c9"},                // Greek
    {u"\u0416\u042f", u"\u0436\u044f"},                // Cyrillic
    {u"\u6587\u5b57", u"\u6587\u5b57"},                // a script without case
    {u"\U00010400", u"\U00010428"},                    // beyond the first plane
    {{0xdc80, u'A', 0xd800}, {0xdc80, u'a', 0xd800}},  // lone surrogates
};

TEST(CFStringLowercase, EveryScript) {
  for (const LowercaseRow& row : kRows) {
    EXPECT_EQ(row.lower, CFStringLowercase(row.text)) << Utf8FromUtf16(row.text);
  }
}

TEST(CFStringLowercase, IgnoresLocale) {
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C"));
  for (const LowercaseRow& row : kRows) EXPECT_EQ(row.lower, CFStringLowercase(row.text));
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, saved.c_str()));
}

}  // namespace
}  // namespace tessary::test
