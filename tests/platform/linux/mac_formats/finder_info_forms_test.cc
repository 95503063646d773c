#include "platform/linux/mac_formats/finder_info_forms.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/mac_test_data.h"

namespace tessary::test {
namespace {

// Type "TEXT", creator "ttxt", invisible: as written over Samba.
const std::string kInfo = std::string("TEXTttxt\x40", 9) + std::string(23, '\0');

std::string TextOf(const std::optional<FinderBytes>& bytes) {
  return bytes ? std::string(bytes->begin(), bytes->end()) : "none";
}

TEST(FinderInfoForms, AllReadTheSameInfo) {
  EXPECT_EQ(kInfo, TextOf(ReadRawFinderInfo(kInfo)));
  EXPECT_EQ(kInfo, TextOf(ReadAppleDoubleFinderInfo(FromHex(kNetatalkOfSambaNetatalk))));
  EXPECT_EQ(kInfo, TextOf(ReadAppleDoubleFinderInfo(MakeSidecar(kInfo, {{"a", "b"}}, "fork"))));
  EXPECT_EQ(kInfo, TextOf(ReadAfpInfo(FromHex(kAfpinfoOfSambaStream))));
  EXPECT_EQ("TEXTttxt" + std::string(24, '\0'), TextOf(ReadHfsTypeAndCreator("TEXT", "ttxt")));
}

TEST(FinderInfoForms, RejectTruncatedData) {
  const std::string netatalk = FromHex(kNetatalkOfSambaNetatalk);
  const std::string sidecar = MakeSidecar(kInfo, {}, "");
  const std::string afpInfo = FromHex(kAfpinfoOfSambaStream);
  for (size_t size = 0; size < 0x7A + 32; ++size) {
    EXPECT_FALSE(ReadAppleDoubleFinderInfo(netatalk.substr(0, size))) << size;
  }
  for (size_t size = 0; size < sidecar.size(); ++size) {
    EXPECT_FALSE(ReadAppleDoubleFinderInfo(sidecar.substr(0, size))) << size;
  }
  for (size_t size = 0; size < 16 + 32; ++size) {
    EXPECT_FALSE(ReadAfpInfo(afpInfo.substr(0, size))) << size;
  }
  for (size_t size = 0; size < kInfo.size(); ++size) {
    EXPECT_FALSE(ReadRawFinderInfo(kInfo.substr(0, size))) << size;
  }
}

TEST(FinderInfoForms, RejectOtherFormsAndSizes) {
  EXPECT_FALSE(ReadRawFinderInfo(kInfo + '\0'));
  EXPECT_FALSE(ReadAfpInfo("AFPX" + FromHex(kAfpinfoOfSambaStream).substr(4)));
  EXPECT_FALSE(ReadAppleDoubleFinderInfo(FromHex(kAfpinfoOfSambaStream)));
  EXPECT_FALSE(ReadHfsTypeAndCreator("TEX", "ttxt"));
  EXPECT_FALSE(ReadHfsTypeAndCreator("TEXT", ""));
  EXPECT_FALSE(ReadHfsTypeAndCreator("TEXT", "ttxt "));
}

TEST(FinderInfoForms, AllZeroIsNone) {
  const std::string none(32, '\0');
  EXPECT_FALSE(ReadRawFinderInfo(none));
  EXPECT_FALSE(ReadAppleDoubleFinderInfo(MakeSidecar(none, {}, "fork")));
  EXPECT_FALSE(ReadAfpInfo("AFP" + std::string(58, '\0')));
  EXPECT_FALSE(ReadHfsTypeAndCreator(std::string(4, '\0'), std::string(4, '\0')));
}

TEST(MakePortable, ConvertsHfsAttributes) {
  const auto plus = MakePortable("osx.com.apple.FinderInfo", kInfo, "");
  ASSERT_TRUE(plus);
  EXPECT_EQ("user.com.apple.FinderInfo", plus->name);
  EXPECT_EQ(kInfo, plus->value);
  const auto comment = MakePortable("osx.com.apple.metadata:kMDItemFinderComment", "list", "");
  ASSERT_TRUE(comment);
  EXPECT_EQ("user.com.apple.metadata:kMDItemFinderComment", comment->name);
  const auto hfs = MakePortable("hfs.type", "TEXT", "ttxt");
  ASSERT_TRUE(hfs);
  EXPECT_EQ("user.com.apple.FinderInfo", hfs->name);
  EXPECT_EQ("TEXTttxt" + std::string(24, '\0'), hfs->value);
  EXPECT_FALSE(MakePortable("hfs.type", "TEXT", ""));
  EXPECT_FALSE(MakePortable("hfs.creator", "ttxt", ""));
  EXPECT_FALSE(MakePortable("user.com.apple.FinderInfo", kInfo, ""));
  EXPECT_FALSE(MakePortable("trusted.osx.x", "y", ""));
}

}  // namespace
}  // namespace tessary::test
