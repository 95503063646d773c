#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/programs/program.h"
#include "tests/support/mac_test_data.h"

// Runs over files from a Mac, with their metadata in different forms.
namespace tessary::test {
namespace {

class MacFiles : public ProgramTest {
 protected:
  void SetUp() override {
    MakeFolder(At("destination"));
    WriteFile(At("source/raw"), "x");
    if (!SetAttribute(At("source/raw"), "user.com.apple.FinderInfo",
                      "JPEG8BIM" + std::string(24, '\0'))) {
      GTEST_SKIP() << "no attributes here";
    }
  }

  ProgramResult SortBy(const std::string& kind) const {
    return Aggregate({"--move", "--kind", kind}, {.environment = {{"TZ", "UTC"}}});
  }
};

TEST_F(MacFiles, AreSortedByTypeInAnyForm) {
  WriteFile(At("source/served"), "x");
  WriteFile(At("source/streamed"), "x");
  WriteFile(At("source/beside"), "x");
  WriteFile(At("source/hidden"), "x");
  std::string served = FromHex(kNetatalkOfSambaNetatalk);
  served[0x7A + 8] = '\0';  // not invisible
  std::string streamed = FromHex(kAfpinfoOfSambaStream);
  streamed.replace(16, 9, std::string("PICTttxt\0", 9));
  ASSERT_TRUE(SetAttribute(At("source/served"), "user.org.netatalk.Metadata", served));
  ASSERT_TRUE(SetAttribute(At("source/streamed"), "user.DosStream.AFP_AfpInfo:$DATA", streamed));
  ASSERT_TRUE(SetAttribute(At("source/hidden"), "user.DosStream.AFP_AfpInfo:$DATA",
                           FromHex(kAfpinfoOfSambaStream)));
  WriteFile(At("source/._beside"), MakeSidecar("8BPS8BIM" + std::string(24, '\0'), {}, "fork"));
  const ProgramResult result = SortBy("file-type");
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_EQ((std::vector<std::string>{"8BPS/._beside", "8BPS/beside", "JPEG/raw", "PICT/streamed",
                                      "TEXT/served"}),
            FilesBelow(At("destination")));
  EXPECT_EQ((std::vector<std::string>{"hidden"}), FilesBelow(At("source")));
}

TEST_F(MacFiles, AreSortedByCreationDate) {
  WriteFile(At("source/served"), "x");
  ASSERT_TRUE(SetAttribute(At("source/raw"), "user.DOSATTRIB", FromHex(kDosAttributes3)));
  std::string served = FromHex(kNetatalkOfSambaNetatalk);
  served[0x7A + 8] = '\0';
  ASSERT_TRUE(SetAttribute(At("source/served"), "user.org.netatalk.Metadata", served));
  EXPECT_EQ(0, SortBy("creation-date").status);
  EXPECT_EQ((std::vector<std::string>{"2009/Mar 04, 2009/raw", "2009/Mar 04, 2009/served"}),
            FilesBelow(At("destination")));
}

}  // namespace
}  // namespace tessary::test
