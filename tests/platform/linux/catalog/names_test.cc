#include "platform/linux/catalog/names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

constexpr Volume kPlain = {.hasReliableEntries = true, .hasWindowsNames = false};
constexpr Volume kWindows = {.hasReliableEntries = false, .hasWindowsNames = true};

TEST(CatalogName, ColonBecomesSlash) {
  EXPECT_EQ(u"image/jpeg", CatalogName("image:jpeg"));
  EXPECT_EQ(u"plain.txt", CatalogName("plain.txt"));
  EXPECT_EQ(u"", CatalogName(""));
}

TEST(CatalogName, IllFormedByteBecomesSurrogate) {
  EXPECT_EQ(std::u16string({u'a', char16_t{0xDCFF}, u'.', u't'}), CatalogName("a\xff.t"));
}

TEST(PosixName, RoundTripsEveryName) {
  const std::vector<std::string> names = {"a.txt",
                                          "a:b",
                                          "\xff\xfe",
                                          "new\nline",
                                          ".hidden",
                                          "..two",
                                          "three...",
                                          "é",
                                          "e\xcc\x81",
                                          "\xed\xa0\x80",
                                          "\xf0\x9f\x8d\x8e",
                                          "\x80mixed\xc3\xa9",
                                          std::string(255, 'x')};
  for (const std::string& name : names) {
    std::string back;
    ASSERT_EQ(noErr, PosixName(CatalogName(name), kPlain, &back)) << name;
    EXPECT_EQ(name, back);
  }
}

TEST(PosixName, KeepsColon) {
  std::string name;
  ASSERT_EQ(noErr, PosixName(u"b:c", kPlain, &name));
  EXPECT_EQ("b:c", name);
  ASSERT_EQ(noErr, PosixName(u"image/jpeg", kPlain, &name));
  EXPECT_EQ("image:jpeg", name);
}

TEST(PosixName, RejectsInvalidNames) {
  const std::vector<std::u16string> refused = {
      u"", u".", u"..", std::u16string(u"a\0b", 3), {char16_t{0xD800}}, {char16_t{0xDC00}, u'x'}};
  for (const std::u16string& name : refused) {
    std::string posixName = "untouched";
    EXPECT_EQ(bdNamErr, PosixName(name, kPlain, &posixName));
    EXPECT_EQ("untouched", posixName);
  }
}

TEST(PosixName, SlashIsNotASeparator) {
  std::string name;
  ASSERT_EQ(noErr, PosixName(u"../../etc/passwd", kPlain, &name));
  EXPECT_EQ("..:..:etc:passwd", name);
}

TEST(NameOnVolume, ReplacesRefusedCharacters) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"image:jpeg", "image_jpeg"},
      {"a?b*c\"d<e>f|g\\h", "a_b_c_d_e_f_g_h"},
      {"PDF ", "PDF_"},
      {"name..", "name__"},
      {"dot. ", "dot__"},
      {"new\nline", "new_line"},
      {"bad\xff"
       "byte",
       "bad_byte"},
      {"\xf0\x9f\x8d\x8e\xff", "\xf0\x9f\x8d\x8e_"},
      {"fine name.txt", "fine name.txt"},
      {"\xf0\x9f\x8d\x8e", "\xf0\x9f\x8d\x8e"}};
  for (const auto& [name, expected] : rows) {
    EXPECT_EQ(expected, NameOnVolume(name, kWindows));
    EXPECT_EQ(name, NameOnVolume(name, kPlain));
  }
}

}  // namespace
}  // namespace tessary::test
