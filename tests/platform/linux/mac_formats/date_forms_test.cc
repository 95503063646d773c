#include "platform/linux/mac_formats/date_forms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/mac_test_data.h"

namespace tessary::test {
namespace {

constexpr int64_t kSeconds = 1'236'143'167;  // 2009-03-04 05:06:07 UTC
constexpr Timestamp kDate = {kSeconds, 123'456'700};
constexpr Timestamp kWholeDate = {kSeconds, 0};

TEST(ReadDosAttributesDate, ReadsVersionsWithDate) {
  EXPECT_EQ(kDate, ReadDosAttributesDate(FromHex(kDosAttributes1)));
  EXPECT_EQ(kDate, ReadDosAttributesDate(FromHex(kDosAttributes3)));
  EXPECT_EQ(kDate, ReadDosAttributesDate(FromHex(kDosAttributes4)));
  EXPECT_EQ(kDate, ReadDosAttributesDate(FromHex(kDosAttributes5)));
  EXPECT_EQ(kWholeDate, ReadDosAttributesDate(FromHex(kDosattribOfSambaNetatalk)));
  EXPECT_EQ(kWholeDate, ReadDosAttributesDate(FromHex(kDosattribOfSambaStream)));
}

TEST(ReadDosAttributesDate, RejectsOtherData) {
  EXPECT_FALSE(ReadDosAttributesDate(FromHex(kDosAttributes2)));
  EXPECT_FALSE(ReadDosAttributesDate(std::string("0x20\0", 5))) << "only the text";
  EXPECT_FALSE(ReadDosAttributesDate("0x20"));
  EXPECT_FALSE(ReadDosAttributesDate(""));
  EXPECT_FALSE(ReadDosAttributesDate(std::string(64, 'x')));
  std::string other = FromHex(kDosAttributes5);
  other[2] = other[4] = 6;
  EXPECT_FALSE(ReadDosAttributesDate(other)) << "an unknown version";
  other[2] = 4;
  EXPECT_FALSE(ReadDosAttributesDate(other)) << "two different versions";
  std::string flagged = FromHex(kDosAttributes5);
  flagged[8] = 1;
  EXPECT_FALSE(ReadDosAttributesDate(flagged)) << "the flag for the date is not set";
  std::string zero = FromHex(kDosAttributes5);
  std::fill(zero.end() - 8, zero.end(), '\0');
  EXPECT_FALSE(ReadDosAttributesDate(zero));
}

TEST(ReadDosAttributesDate, RejectsTruncatedData) {
  const std::string first = FromHex(kDosAttributes1);
  const std::string third = FromHex(kDosAttributes3);
  const std::string fourth = FromHex(kDosAttributes4);
  for (size_t size = 0; size < first.size() - 8; ++size) {
    EXPECT_FALSE(ReadDosAttributesDate(first.substr(0, size))) << size;
  }
  for (size_t size = 0; size < third.size() - 8; ++size) {
    EXPECT_FALSE(ReadDosAttributesDate(third.substr(0, size))) << size;
  }
  for (size_t size = 0; size < fourth.size(); ++size) {
    EXPECT_FALSE(ReadDosAttributesDate(fourth.substr(0, size))) << size;
  }
}

TEST(ReadAppleDoubleDate, MatchesSamba) {
  EXPECT_EQ(kWholeDate, ReadAppleDoubleDate(FromHex(kNetatalkOfSambaNetatalk)));
  EXPECT_FALSE(ReadAppleDoubleDate(FromHex(kAfpinfoOfSambaStream)));
  EXPECT_FALSE(ReadAppleDoubleDate(MakeSidecar(std::string(32, '1'), {}, "")));
}

TEST(NtTime, RoundTripsToTicks) {
  const Timestamp exact = {kSeconds, 123'456'789};
  EXPECT_EQ(FromHex("01c99c86ecec6007"), WriteBigNtTime(exact));
  EXPECT_EQ(kDate, ReadBigNtTime(WriteBigNtTime(exact)));
  EXPECT_EQ(kDate, ReadNativeNtTime(WriteNativeNtTime(exact)));
  const Timestamp early = {-11'644'473'600, 100};
  EXPECT_EQ(early, ReadBigNtTime(WriteBigNtTime(early)));
  const Timestamp before1970 = {-5, 999'999'900};
  EXPECT_EQ(before1970, ReadBigNtTime(WriteBigNtTime(before1970)));
}

TEST(NtTime, RejectsOutOfRange) {
  EXPECT_EQ("", WriteBigNtTime({-11'644'473'601, 999'999'999}));
  EXPECT_EQ("", WriteBigNtTime({-11'644'473'600, 99})) << "0 means no date";
  EXPECT_EQ("", WriteBigNtTime({std::numeric_limits<int64_t>::max(), 0}));
  EXPECT_EQ("", WriteNativeNtTime({std::numeric_limits<int64_t>::min(), 0}));
  EXPECT_FALSE(ReadBigNtTime(std::string(8, '\0')));
  EXPECT_FALSE(ReadBigNtTime(std::string(8, '\xFF')));
  EXPECT_FALSE(ReadBigNtTime(std::string(7, '\1')));
  EXPECT_FALSE(ReadNativeNtTime(std::string(9, '\1')));
}

}  // namespace
}  // namespace tessary::test
