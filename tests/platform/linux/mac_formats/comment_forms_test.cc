#include "platform/linux/mac_formats/comment_forms.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/comment_plist.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/mac_test_data.h"

namespace tessary::test {
namespace {

constexpr char kProperty[] = "com.apple.metadata:kMDItemFinderComment";
constexpr char16_t kExampleComment[] = u"ask K\u00e4the";

const std::string kFinderInfoOfText = "TEXTttxt" + std::string(24, '\0');

std::string SidecarWith(const std::string& property) {
  const std::vector<MacAttribute> attributes = {
      {"com.example.before", "before"}, {kProperty, property}, {"com.example.after", "after"}};
  return MakeSidecar(kFinderInfoOfText, attributes, "the fork");
}

// The layout of netatalk: 200 bytes reserved for the comment, then the dates.
std::string NetatalkWith(const std::string& comment) {
  std::string data =
      BigEndian32(0x00051607) + BigEndian32(0x00020000) + std::string(16, '\0') + BigEndian16(3);
  data += BigEndian32(9) + BigEndian32(62) + BigEndian32(32);
  data += BigEndian32(4) + BigEndian32(94) + BigEndian32(static_cast<uint32_t>(comment.size()));
  data += BigEndian32(8) + BigEndian32(294) + BigEndian32(16);
  data += kFinderInfoOfText + comment + std::string(200 - comment.size(), '\0');
  return data + std::string(16, '\1');
}

TEST(CommentForms, AllReadTheSameComment) {
  EXPECT_EQ(kExampleComment, ReadPropertyForm(FromHex(kPropertyUtf16)));
  EXPECT_EQ(kExampleComment, ReadPropertyForm(FromHex(kCommentOfSambaStream)));
  EXPECT_EQ(kExampleComment, ReadAppleDoubleComment(SidecarWith(FromHex(kPropertyUtf16))));
  EXPECT_EQ(kExampleComment, ReadAppleDoubleComment(NetatalkWith("ask K\x8Athe")));
  EXPECT_EQ(kExampleComment, ReadAppleDoubleComment(NetatalkWith("ask K\u00e4the")));
}

TEST(CommentForms, EmptyOrBrokenIsNone) {
  EXPECT_FALSE(ReadPropertyForm(FromHex(kPropertyEmpty)));
  EXPECT_FALSE(ReadPropertyForm("ask"));
  EXPECT_FALSE(ReadAppleDoubleComment(SidecarWith("ask")));
  EXPECT_FALSE(ReadAppleDoubleComment(NetatalkWith("")));
  EXPECT_FALSE(ReadAppleDoubleComment(FromHex(kNetatalkOfSambaNetatalk)));
  EXPECT_FALSE(ReadAppleDoubleComment(NetatalkWith("ask").substr(0, 96)));
}

TEST(CommentForms, FoundByAttributeName) {
  ASSERT_NE(nullptr, FindCommentForm("user.com.apple.metadata:kMDItemFinderComment"));
  ASSERT_NE(nullptr, FindCommentForm("user.DosStream.com.apple.metadata\xEF\x80\xA2"
                                     "kMDItemFinderComment:$DATA"));
  EXPECT_EQ(nullptr, FindCommentForm("user.xdg.comment"));
  EXPECT_EQ(nullptr, FindCommentForm(""));
}

TEST(ReplacePropertyForm, KeepsSambaZero) {
  const std::string list = WriteCommentPlist(u"new");
  EXPECT_EQ(list, ReplacePropertyForm(FromHex(kPropertyUtf16), u"new"));
  EXPECT_EQ(list, ReplacePropertyForm(FromHex(kPropertyEmpty), u"new"));
  EXPECT_EQ(list + '\0', ReplacePropertyForm(FromHex(kCommentOfSambaStream), u"new"));
  // A list whose own last byte is zero.
  const std::string even = WriteCommentPlist(std::u16string(256 - 11, u'x'));
  ASSERT_EQ('\0', even.back());
  EXPECT_EQ(list, ReplacePropertyForm(even, u"new"));
  EXPECT_FALSE(ReplacePropertyForm("ask", u"new"));
  EXPECT_FALSE(ReplacePropertyForm("", u"new"));
}

// Checks everything in the sidecar but the comment.
void ExpectOtherEntriesKept(const std::string& sidecar, const std::string& original) {
  ASSERT_EQ(original.size(), sidecar.size());
  const auto data = AppleDouble::Parse(sidecar);
  ASSERT_TRUE(data);
  EXPECT_EQ(kFinderInfoOfText, data->FinderInfo());
  EXPECT_EQ("the fork", data->Read(AppleDoubleEntry::kResourceFork));
  const auto attributes = data->Attributes();
  ASSERT_EQ(3U, attributes.size());
  EXPECT_EQ("before", attributes[0].value);
  EXPECT_EQ("after", attributes[2].value);
}

TEST(ReplaceAppleDoubleComment, KeepsOtherEntries) {
  const std::string original = SidecarWith(FromHex(kPropertyUtf16));
  // Empty, short, as long as before, longer but within the free space, and empty again.
  const std::array<std::u16string, 5> comments = {u"", u"x", u"ask Kathe\u00e9",
                                                  std::u16string(18, u'y'), u""};
  for (const std::u16string& comment : comments) {
    const auto replaced = ReplaceAppleDoubleComment(original, comment);
    ASSERT_TRUE(replaced);
    ExpectOtherEntriesKept(*replaced, original);
    EXPECT_EQ(comment, ReadAppleDoubleComment(*replaced).value_or(u""));
  }
  const auto tooLong = ReplaceAppleDoubleComment(original, std::u16string(500, u'z'));
  ASSERT_TRUE(tooLong);
  ExpectOtherEntriesKept(*tooLong, original);
  EXPECT_FALSE(ReadAppleDoubleComment(*tooLong)) << "no comment instead of the old one";
}

TEST(ReplaceAppleDoubleComment, RepeatedReplacement) {
  std::string sidecar = SidecarWith(FromHex(kPropertyUtf16));
  const std::string original = sidecar;
  for (size_t i = 0; i < 40; ++i) {
    const std::u16string comment(i % 20, u'x');
    const auto replaced = ReplaceAppleDoubleComment(sidecar, comment);
    ASSERT_TRUE(replaced) << i;
    sidecar = *replaced;
    ExpectOtherEntriesKept(sidecar, original);
    EXPECT_EQ(comment, ReadAppleDoubleComment(sidecar).value_or(u"")) << i;
  }
}

TEST(ReplaceAppleDoubleComment, FillsCommentEntry) {
  const std::string original = NetatalkWith("ask");
  const auto longer = ReplaceAppleDoubleComment(original, u"ask K\u00e4the again");
  ASSERT_TRUE(longer);
  EXPECT_EQ(NetatalkWith("ask K\x8Athe again"), *longer);
  EXPECT_EQ(NetatalkWith("a"), ReplaceAppleDoubleComment(*longer, u"a"));
  EXPECT_EQ(NetatalkWith(""), ReplaceAppleDoubleComment(original, u""));
  EXPECT_EQ(NetatalkWith(""), ReplaceAppleDoubleComment(original, u"\u4e2d")) << "not Mac OS Roman";
  EXPECT_EQ(NetatalkWith(""), ReplaceAppleDoubleComment(original, std::u16string(201, u'x')));
  EXPECT_EQ(NetatalkWith(std::string(200, 'x')),
            ReplaceAppleDoubleComment(original, std::u16string(200, u'x')));
}

TEST(ReplaceAppleDoubleComment, RejectsOtherData) {
  EXPECT_FALSE(ReplaceAppleDoubleComment(NetatalkWith(""), u"x"));
  EXPECT_FALSE(ReplaceAppleDoubleComment(FromHex(kNetatalkOfSambaNetatalk), u"x"));
  EXPECT_FALSE(ReplaceAppleDoubleComment(MakeSidecar(kFinderInfoOfText, {}, ""), u"x"));
  EXPECT_FALSE(ReplaceAppleDoubleComment(SidecarWith("ask"), u"x"));
  EXPECT_FALSE(ReplaceAppleDoubleComment("", u"x"));
  std::string overlapping = NetatalkWith("ask");
  overlapping.replace(42, 4, BigEndian32(62));  // the comment inside the Finder information
  EXPECT_FALSE(ReplaceAppleDoubleComment(overlapping, u"x"));
  overlapping.replace(42, 4, BigEndian32(26));  // the comment inside the table of entries
  EXPECT_FALSE(ReplaceAppleDoubleComment(overlapping, u"x"));
  std::string inTable = NetatalkWith("ask");
  inTable.replace(30, 4, BigEndian32(61));  // the Finder information begins inside the table
  EXPECT_FALSE(ReplaceAppleDoubleComment(inTable, u"x"));
  std::string shared = SidecarWith(FromHex(kPropertyUtf16));
  const auto attributes = AppleDouble::Parse(shared)->Attributes();
  // Another attribute shares the bytes of the comment.
  const size_t other = attributes[0].entryOffset;
  shared.replace(other, 4, shared.substr(attributes[1].entryOffset, 4));
  EXPECT_EQ(kExampleComment, ReadAppleDoubleComment(shared));
  EXPECT_FALSE(ReplaceAppleDoubleComment(shared, u"x"));
}

}  // namespace
}  // namespace tessary::test
