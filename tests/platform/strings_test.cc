#include "platform/strings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

// A buffer with other bytes after the text, which make a missing terminating zero visible.
ShortText TextOf(const std::string& contents) {
  ShortText text;
  text.fill('#');
  std::memcpy(text.data(), contents.c_str(), contents.size() + 1);
  return text;
}

std::string DecimalOf(int32_t value, size_t size) {
  std::vector<char> buffer(size + 2, '#');
  IntToDecimal(buffer.data(), size, value);
  return buffer.data();
}

TEST(StringWithFSRef, ReturnsPath) {
  const TemporaryFolder folder;
  for (const char* name : {"plain", "caf\xE9", "new\nline", ".leading", "two.dots.txt", "a:b"}) {
    WriteFile(folder / name);
    const FSRef ref = RefAt(folder / name);
    EXPECT_EQ(folder / name, StringWithFSRef(&ref));
  }
  MakeLink("nowhere", folder / "dangling");
  const FSRef ref = RefAt(folder / "dangling");
  EXPECT_EQ(folder / "dangling", StringWithFSRef(&ref));
}

TEST(StringWithFSRef, NoneWithoutObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "gone");
  const FSRef ref = RefAt(folder / "gone");
  ASSERT_EQ(0, unlink((folder / "gone").c_str()));
  const FSRef none;
  EXPECT_EQ(std::nullopt, StringWithFSRef(nullptr));
  EXPECT_EQ(std::nullopt, StringWithFSRef(&none));
  EXPECT_EQ(std::nullopt, StringWithFSRef(&ref));
}

TEST(StringWithFSRef, NoneForTooLongPath) {
  const TemporaryFolder folder;
  const std::u16string name(200, u'n');
  std::vector<FSRef> levels = {RefAt(folder.path())};
  std::vector<size_t> sizes = {folder.path().size()};
  while (sizes.back() < kPathStringBufferSize) {
    FSRef child;
    ASSERT_EQ(noErr, FSCreateDirectoryUnicode(levels.back(), name, &child));
    levels.push_back(child);
    sizes.push_back(sizes.back() + 1 + name.size());
  }
  const auto fitting = StringWithFSRef(&levels[levels.size() - 2]);
  ASSERT_TRUE(fitting);
  EXPECT_EQ(sizes[sizes.size() - 2], fitting->size());
  EXPECT_EQ(std::nullopt, StringWithFSRef(&levels.back()));
  for (size_t i = levels.size() - 1; i > 0; --i) EXPECT_EQ(noErr, FSDeleteObject(levels[i]));
}

// The buffer has 4098 bytes, one of which is the terminating zero.
TEST(StringWithFSRef, ReturnsPathOf4097Bytes) {
  const TemporaryFolder folder;
  std::string path = folder.path();
  while (path.size() < 3900) path += "/" + std::string(99, 'd');
  MakeFolder(path);
  const FSRef parent = RefAt(path);
  const std::u16string name(4097 - path.size() - 1, u'n');
  FSRef fitting;
  FSRef tooLong;
  ASSERT_EQ(noErr, FSCreateDirectoryUnicode(parent, name, &fitting));
  ASSERT_EQ(noErr, FSCreateDirectoryUnicode(parent, name + u'n', &tooLong));
  EXPECT_EQ(4097U, StringWithFSRef(&fitting).value_or("").size());
  EXPECT_EQ(std::nullopt, StringWithFSRef(&tooLong));
}

TEST(GetFSRef, FindsObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "caf\xE9\n.txt");
  MakeLink("nowhere", folder / "dangling");
  for (const std::string& path : {folder / "caf\xE9\n.txt", folder / "dangling", folder.path()}) {
    FSRef ref;
    ASSERT_TRUE(GetFSRef(path, &ref)) << path;
    EXPECT_EQ(path, StringWithFSRef(&ref));
  }
}

TEST(GetFSRef, FalseWithoutObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  FSRef ref;
  EXPECT_FALSE(GetFSRef(folder / "missing", &ref));
  EXPECT_FALSE(GetFSRef(folder / "file/below", &ref));
  EXPECT_FALSE(GetFSRef((folder / "file") + std::string("\0.txt", 5), &ref));
  EXPECT_FALSE(GetFSRef("", &ref));
  EXPECT_FALSE(GetFSRef(folder / "file", nullptr));
}

TEST(StrClear, EmptiesText) {
  ShortText text = TextOf("before");
  EXPECT_EQ(&text, &StrClear(text));
  EXPECT_STREQ("", text.data());
}

TEST(StrCopyBounded, CopiesFirst255Bytes) {
  ShortText text = TextOf("before");
  EXPECT_STREQ("after", StrCopyBounded(text, "after").data());
  EXPECT_EQ(std::string(255, 'a'), StrCopyBounded(text, std::string(300, 'a').c_str()).data());
  EXPECT_STREQ("", StrCopyBounded(text, "").data());
}

TEST(StrCopyBounded, NullSource) {
  ShortText text = TextOf("before");
  EXPECT_EQ(&text, &StrCopyBounded(text, nullptr));
  EXPECT_STREQ("", text.data());
}

TEST(StrAppendBounded, StopsAt255Bytes) {
  const struct {
    size_t before;
    size_t appended;
    size_t after;
  } rows[] = {
      {0, 0, 0},     {0, 300, 255}, {0, 254, 254},   {0, 255, 255}, {0, 256, 255},
      {5, 10, 15},   {5, 249, 254}, {5, 250, 255},   {5, 251, 255}, {254, 1, 255},
      {255, 0, 255}, {255, 1, 255}, {255, 300, 255},
  };
  for (const auto& row : rows) {
    ShortText text = TextOf(std::string(row.before, 'b'));
    const std::string expected =
        std::string(row.before, 'b') + std::string(row.after - row.before, 'a');
    EXPECT_EQ(expected, StrAppendBounded(text, std::string(row.appended, 'a').c_str()).data())
        << row.before << " and " << row.appended;
  }
}

TEST(StrAppendBounded, NullSource) {
  ShortText text = TextOf("before");
  EXPECT_EQ(&text, &StrAppendBounded(text, nullptr));
  EXPECT_STREQ("before", text.data());
}

TEST(StrAppendBounded, AppendsTextToItself) {
  ShortText text = TextOf("abc");
  EXPECT_STREQ("abcabc", StrAppendBounded(text, text.data()).data());
}

TEST(StrAppendInt, AppendsDigits) {
  ShortText text = TextOf("took ");
  StrAppendInt(text, 3600);
  StrAppendBounded(text, ", ");
  StrAppendInt(text, 0);
  StrAppendBounded(text, ", ");
  EXPECT_EQ(&text, &StrAppendInt(text, -5));
  EXPECT_STREQ("took 3600, 0, -5", text.data());
}

TEST(StrAppendInt, TruncatesDigits) {
  ShortText text = TextOf(std::string(253, 'b'));
  EXPECT_EQ(std::string(253, 'b') + "36", StrAppendInt(text, 3600).data());
}

TEST(IntToDecimal, WritesEveryValue) {
  for (const int32_t value :
       {0, 1, 9, 10, 11, 99, 100, 3600, -1, -9, -10, -3600, std::numeric_limits<int32_t>::max(),
        std::numeric_limits<int32_t>::min() + 1, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(std::to_string(value), DecimalOf(value, 31));
  }
}

TEST(IntToDecimal, KeepsLowestDigits) {
  EXPECT_EQ("600", DecimalOf(3600, 4));
  EXPECT_EQ("-600", DecimalOf(-3600, 4));
  EXPECT_EQ("3600", DecimalOf(3600, 5));
  EXPECT_EQ("", DecimalOf(3600, 1));
  EXPECT_EQ("-", DecimalOf(-3600, 1));
  EXPECT_EQ("0", DecimalOf(0, 2));
}

TEST(IntToDecimal, WritesNothingWithoutBuffer) {
  char byte = '#';
  IntToDecimal(&byte, 0, 5);
  EXPECT_EQ('#', byte);
  IntToDecimal(nullptr, 31, 5);
}

TEST(StrReverse, ReversesInPlace) {
  for (const auto& [text, reversed] : std::vector<std::array<std::string, 2>>{
           {"", ""}, {"a", "a"}, {"ab", "ba"}, {"abc", "cba"}, {"5-", "-5"}, {"\xE9z", "z\xE9"}}) {
    ShortText buffer = TextOf(text);
    StrReverse(buffer.data());
    EXPECT_EQ(reversed, buffer.data());
  }
  StrReverse(nullptr);
}

TEST(SwapFourCharCode, ReversesBytes) {
  const uint32_t code = 0x54735279;
  uint32_t swapped = 0;
  SwapFourCharCode(&code, &swapped);
  EXPECT_EQ(0x79527354U, swapped);
  SwapFourCharCode(&swapped, &swapped);
  EXPECT_EQ(code, swapped);
}

}  // namespace
}  // namespace tessary::test
