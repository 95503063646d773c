#include "platform/linux/catalog/place_attributes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/comment_attribute.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/managers/file_attributes.h"
#include "platform/managers/launch_services.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

// The numbers of getxattrat and listxattrat, which newer kernels have.
constexpr long kGetXattrAt = 464;
constexpr long kListXattrAt = 465;

// Runs the body as if /proc were not mounted: the calls that take a path fail with ENOENT.
bool RunWithoutProc(const std::function<void()>& body) {
  return RunWithInjectedErrors({{SYS_llistxattr, ENOENT, 0, 0},
                                {SYS_lgetxattr, ENOENT, 0, 0},
                                {SYS_lsetxattr, ENOENT, 0, 0},
                                {SYS_getxattr, ENOENT, 0, 0},
                                {SYS_setxattr, ENOENT, 0, 0},
                                {kGetXattrAt, ENOSYS, 0, 0},
                                {kListXattrAt, ENOSYS, 0, 0}},
                               body);
}

class WithoutProc : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(folder_ / "file", "x");
    if (!SetAttribute(folder_ / "file", kCommentAttribute, "mine")) {
      GTEST_SKIP() << "no attributes here";
    }
  }

  TemporaryFolder folder_;
};

TEST_F(WithoutProc, ReadsFinderInformation) {
  MakeFolder(folder_ / "bundle");
  WriteFile(folder_ / "invisible");
  WriteFile(folder_ / "many");
  ASSERT_TRUE(SetFinderInfo(folder_ / "bundle", std::string(4, '\0'), kHasBundle));
  ASSERT_TRUE(SetFinderInfo(folder_ / "invisible", "TEXT", kIsInvisible));
  // So many that their names need the second, larger buffer.
  for (int i = 0; i < 40; ++i) {
    if (!SetAttribute(folder_ / "many", "user." + std::string(40, 'x') + std::to_string(i), "")) {
      break;
    }
  }
  EXPECT_TRUE(RunWithoutProc([this] {
    LSItemInfoRecord record;
    EXPECT_EQ(noErr, LSCopyItemInfoForRef(RefAt(folder_ / "bundle"), kLSRequestAllFlags, &record));
    EXPECT_EQ(kLSItemInfoIsContainer | kLSItemInfoIsPackage, record.flags);
    FSCatalogInfo info;
    EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(folder_ / "invisible"), kFSCatInfoFinderInfo, &info,
                                      nullptr, nullptr, nullptr));
    EXPECT_EQ(kIsInvisible, info.finderInfo.finderFlags);
    EXPECT_EQ(0x54455854U, info.finderInfo.fileType);
    EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(folder_ / "many"), kFSCatInfoFinderInfo, &info, nullptr,
                                      nullptr, nullptr));
    EXPECT_EQ(0, info.finderInfo.finderFlags);
  }));
}

TEST_F(WithoutProc, ReadsAndWritesComments) {
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    WriteFile(folder_ / "protected");
    ASSERT_EQ(0, chmod((folder_ / "protected").c_str(), 0444));
    EXPECT_TRUE(RunWithoutProc([this] {
      std::optional<std::string> comment;
      EXPECT_EQ(noErr, ReadComment(PlaceAt(folder_ / "file"), &comment));
      EXPECT_EQ("mine", comment);
      EXPECT_EQ(noErr, ReadComment(PlaceAt(folder_ / "protected"), &comment));
      EXPECT_EQ(std::nullopt, comment);
      EXPECT_EQ(noErr, WriteComment(PlaceAt(folder_ / "protected"), "yours"));
      EXPECT_EQ(0444U, LstatAt(folder_ / "protected").st_mode & 07777);
    }));
    EXPECT_EQ("yours", AttributeAt(folder_ / "protected", kCommentAttribute));
  }));
}

TEST_F(WithoutProc, CreationDateFollowsLink) {
  ASSERT_TRUE(
      SetAttribute(folder_ / "file", kCreationDateAttribute, "1971-01-01T00:00:00.000000003Z"));
  MakeLink("file", folder_ / "link");
  EXPECT_TRUE(RunWithoutProc([this] {
    for (const char* name : {"file", "link"}) {
      EXPECT_EQ((Timestamp{31'536'000, 3}),
                CopyFileDateAtPath(folder_ / name, DateAttribute::NSFileCreationDate))
          << name;
    }
  }));
}

// An unreadable file is an error, not a file without attributes.
TEST_F(WithoutProc, ReportsUnreadableFile) {
  ASSERT_EQ(0, chmod((folder_ / "file").c_str(), 0));
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    EXPECT_TRUE(RunWithoutProc([this] {
      FSCatalogInfo info;
      EXPECT_EQ(afpAccessDenied, FSGetCatalogInfo(RefAt(folder_ / "file"), kFSCatInfoFinderInfo,
                                                  &info, nullptr, nullptr, nullptr));
      std::optional<std::string> comment;
      EXPECT_EQ(afpAccessDenied, ReadComment(PlaceAt(folder_ / "file"), &comment));
    }));
  }));
}

// The results are the same with and without /proc.
TEST_F(WithoutProc, DoesNotOpenSpecialFiles) {
  MakeLink("file", folder_ / "link");
  ASSERT_EQ(0, mkfifo((folder_ / "fifo").c_str(), 0600));
  const auto expectNone = [this] {
    for (const char* name : {"link", "fifo"}) {
      const Place place = PlaceAt(folder_ / name);
      std::array<char, 16> value = {};
      EXPECT_EQ(-1, GetAttribute(place, kCommentAttribute, value.data(), value.size())) << name;
      EXPECT_EQ(ENODATA, errno) << name;
      EXPECT_EQ(-1, SetAttribute(place, kCommentAttribute, "x", 1, 0)) << name;
      EXPECT_EQ(EPERM, errno) << name;
    }
    std::array<char, 16> value = {};
    EXPECT_EQ(
        -1, GetAttribute(PlaceAt(folder_ / "none"), kCommentAttribute, value.data(), value.size()));
    EXPECT_EQ(ENOENT, errno);
  };
  expectNone();
  EXPECT_TRUE(RunWithoutProc(expectNone));
}

TEST_F(WithoutProc, AttributeRemovedDuringRead) {
  ASSERT_TRUE(SetAttribute(folder_ / "file", kCommentAttribute, std::string(2'000, 'x')));
  const auto remove = [this] {
    EXPECT_EQ(0, removexattr((folder_ / "file").c_str(), kCommentAttribute));
  };
  RunWithPausedCalls({{kGetXattrAt, "", 1, {}, ENOSYS}, {SYS_lgetxattr, "", 2, remove}}, [this] {
    std::optional<std::string> value = "before";
    EXPECT_EQ(noErr, ReadAttribute(PlaceAt(folder_ / "file"), kCommentAttribute,
                                   LinkHandling::kNoFollow, &value));
    EXPECT_EQ(std::nullopt, value);
  });
}

}  // namespace
}  // namespace tessary::test
