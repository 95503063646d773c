#include "platform/linux/mac_formats/apple_double.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/mac_test_data.h"

namespace tessary::test {
namespace {

const std::string kFinderInfo = std::string("TEXTttxt\x40\x00", 10) + std::string(22, '\1');

std::string Header(uint16_t count) {
  return BigEndian32(0x00051607) + BigEndian32(0x00020000) + std::string(16, '\0') +
         BigEndian16(count);
}

std::string Entry(uint32_t id, uint32_t offset, uint32_t length) {
  return BigEndian32(id) + BigEndian32(offset) + BigEndian32(length);
}

TEST(AppleDouble, ReadsEntries) {
  const std::string data = Header(2) + Entry(9, 50, 32) + Entry(2, 82, 4) + kFinderInfo + "fork";
  const auto read = AppleDouble::Parse(data);
  ASSERT_TRUE(read);
  EXPECT_EQ(kFinderInfo, read->FinderInfo());
  EXPECT_EQ("fork", read->Read(AppleDoubleEntry::kResourceFork));
  EXPECT_EQ(82U, read->Find(AppleDoubleEntry::kResourceFork)->offset);
  EXPECT_FALSE(read->Read(AppleDoubleEntry::kComment));
  EXPECT_FALSE(read->CreationSeconds());
  EXPECT_TRUE(read->Attributes().empty());
}

TEST(AppleDouble, RejectsOtherData) {
  const std::string whole = Header(1) + Entry(9, 38, 32) + kFinderInfo;
  ASSERT_TRUE(AppleDouble::Parse(whole));
  std::string single = whole;
  single[3] = '\0';  // the magic of AppleSingle, which contains the file's contents too
  EXPECT_FALSE(AppleDouble::Parse(single));
  std::string old = whole;
  old[5] = '\1';
  EXPECT_FALSE(AppleDouble::Parse(old));
  for (size_t size = 0; size < 38; ++size) {
    EXPECT_FALSE(AppleDouble::Parse(whole.substr(0, size))) << size;
  }
}

TEST(AppleDouble, IgnoresEntriesOutsideData) {
  const std::string whole = Header(1) + Entry(9, 38, 32) + kFinderInfo;
  for (size_t size = 38; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    ASSERT_TRUE(AppleDouble::Parse(cut)) << size;
    EXPECT_FALSE(AppleDouble::Parse(cut)->FinderInfo()) << size;
  }
  const std::vector<std::string> entries = {Entry(9, 38, 31), Entry(9, 39, 32),
                                            Entry(9, 0xFFFFFFFF, 32), Entry(9, 38, 0xFFFFFFFF),
                                            Entry(9, 0xFFFFFFF0, 0x20)};
  for (const std::string& entry : entries) {
    const std::string data = Header(1) + entry + kFinderInfo;
    EXPECT_FALSE(AppleDouble::Parse(data)->FinderInfo());
    EXPECT_TRUE(AppleDouble::Parse(data)->Attributes().empty());
  }
}

TEST(AppleDouble, ReadsCreationDate) {
  const auto creationOf = [](uint32_t stored) {
    const std::string data =
        Header(1) + Entry(8, 38, 16) + BigEndian32(stored) + std::string(12, '\0');
    return AppleDouble::Parse(data)->CreationSeconds();
  };
  EXPECT_EQ(946'684'800, creationOf(0));
  EXPECT_EQ(946'684'800 + 290'000'000, creationOf(290'000'000));
  EXPECT_EQ(946'684'799, creationOf(0xFFFFFFFF));
  EXPECT_FALSE(creationOf(0x80000000)) << "unknown date";
  const std::string cut = Header(1) + Entry(8, 38, 3) + std::string(3, '\0');
  EXPECT_FALSE(AppleDouble::Parse(cut)->CreationSeconds());
}

TEST(AppleDouble, ReadsAttributeTable) {
  const std::vector<MacAttribute> attributes = {{"com.apple.metadata:kMDItemFinderComment", "one"},
                                                {"x", ""},
                                                {"com.example.abc", std::string(300, 'z')}};
  const std::string data = MakeSidecar(kFinderInfo, attributes, "the fork");
  const auto read = AppleDouble::Parse(data);
  ASSERT_TRUE(read);
  EXPECT_EQ(kFinderInfo, read->FinderInfo());
  EXPECT_EQ("the fork", read->Read(AppleDoubleEntry::kResourceFork));
  const std::vector<AppleDoubleAttribute> found = read->Attributes();
  ASSERT_EQ(3U, found.size());
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(attributes[i].name, found[i].name);
    EXPECT_EQ(attributes[i].value, found[i].value);
    EXPECT_EQ(attributes[i].value.size(),
              static_cast<unsigned char>(data[found[i].entryOffset + 7]) +
                  256U * static_cast<unsigned char>(data[found[i].entryOffset + 6]));
  }
}

TEST(AppleDouble, RejectsBrokenAttributeTable) {
  const std::string whole = MakeSidecar(kFinderInfo, {{"name", "value"}}, "");
  const size_t entry = AppleDouble::Parse(whole)->Attributes().at(0).entryOffset;
  const auto isRejectedWith = [&whole](size_t at, const std::string& bytes) {
    std::string broken = whole;
    broken.replace(at, bytes.size(), bytes);
    return AppleDouble::Parse(broken)->Attributes().empty();
  };
  EXPECT_FALSE(isRejectedWith(0, BigEndian32(0x00051607))) << "unchanged data";
  EXPECT_TRUE(isRejectedWith(entry, BigEndian32(0xFFFFFFF0))) << "a value after the end";
  EXPECT_TRUE(isRejectedWith(entry, BigEndian32(26)))
      << "a value in the table of the data's entries";
  EXPECT_TRUE(isRejectedWith(entry, BigEndian32(static_cast<uint32_t>(entry - 1))))
      << "a value before its entry";
  EXPECT_TRUE(isRejectedWith(entry + 4, BigEndian32(0x10000))) << "a value that ends after the end";
  EXPECT_TRUE(isRejectedWith(entry + 10, std::string(1, '\0'))) << "a name without length";
  EXPECT_TRUE(isRejectedWith(entry + 10, std::string(1, '\3'))) << "a name without its zero";
  EXPECT_TRUE(isRejectedWith(entry - 2, BigEndian16(2))) << "a count that is too large";
  EXPECT_TRUE(isRejectedWith(entry - 36, "ATTS")) << "another magic";
}

TEST(SidecarName, PrefixesDotUnderscore) {
  EXPECT_EQ("._photo.jpg", SidecarName("photo.jpg"));
  EXPECT_TRUE(IsSidecarName("._photo.jpg"));
  EXPECT_TRUE(IsSidecarName("._."));
  EXPECT_FALSE(IsSidecarName("._"));
  EXPECT_FALSE(IsSidecarName(".a"));
  EXPECT_FALSE(IsSidecarName("a._b"));
}

}  // namespace
}  // namespace tessary::test
