#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <string>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/object_info.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Which form of the creation date a copy gets.
namespace tessary::test {
namespace {

constexpr char kNtfsAttribute[] = "system.ntfs_crtime_be";
constexpr Timestamp kDate = {1'236'143'167, 123'456'700};

std::optional<Timestamp> DateAt(const std::string& path, std::string* origin = nullptr) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return CreationDateAt(PlaceAt(path), info, origin);
}

// What the driver answers for and does not list.
std::string ReadDriverAttribute(const std::string& path) {
  std::string value(8, '\0');
  EXPECT_EQ(8, lgetxattr(path.c_str(), kNtfsAttribute, value.data(), value.size())) << path;
  return value;
}

TEST(CopiedDates, GoWithTheAttributeThatCarriesThem) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", FromHex(kDosAttributes5))) {
    GTEST_SKIP() << "no attributes here";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(kDate, DateAt(folder / "copy"));
  EXPECT_EQ("(none)", AttributeAt(folder / "copy", kCreationDateAttribute));
}

TEST(CopiedDates, AreOursWhereNothingCarriesThem) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", "0x20")) {
    GTEST_SKIP() << "no attributes here";
  }
  const std::optional<Timestamp> date = DateAt(folder / "file");
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(date, DateAt(folder / "copy"));
  EXPECT_EQ(date ? FormatCreationDate(*date) : "(none)",
            AttributeAt(folder / "copy", kCreationDateAttribute));
}

TEST(CopiedDates, AreTheDriversOwnOnNtfsAndComeBackFromThere) {
  const ScratchVolume ntfs(VolumeKind::kNtfs, "", 16);
  if (!ntfs.IsAvailable()) GTEST_SKIP() << ntfs.UnavailableReason();
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", FromHex(kDosAttributes5))) {
    GTEST_SKIP() << "no attributes here";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", ntfs / "there"));
  EXPECT_EQ(FromHex("01c99c86ecec6007"), ReadDriverAttribute(ntfs / "there"));
  EXPECT_EQ(kDate, DateAt(ntfs / "there"));
  EXPECT_EQ("(none)", AttributeAt(ntfs / "there", kCreationDateAttribute));

  // Without anything but what the driver says.
  ASSERT_EQ(0, removexattr((ntfs / "there").c_str(), "user.DOSATTRIB"));
  std::string origin;
  EXPECT_EQ(kDate, DateAt(ntfs / "there", &origin));
  EXPECT_EQ(kNtfsAttribute, origin);
  ASSERT_EQ(noErr, CopyAt(ntfs / "there", folder / "back"));
  EXPECT_EQ(kDate, DateAt(folder / "back"));
  EXPECT_EQ(FormatCreationDate(kDate), AttributeAt(folder / "back", kCreationDateAttribute));
  ASSERT_EQ(noErr, MoveAcrossAt(folder / "back", ntfs / "moved"));
  EXPECT_EQ(ReadDriverAttribute(ntfs / "there"), ReadDriverAttribute(ntfs / "moved"));
}

}  // namespace
}  // namespace tessary::test
