#include "platform/linux/descriptors/open_without_atime.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr time_t kLongAgo = 1'000'000'000;

// Sets an access time so old that the next read updates it, also with the mount option relatime.
void SetAccessDate(const std::string& path) {
  const std::array<timespec, 2> times = {timespec{kLongAgo, 7}, timespec{0, UTIME_OMIT}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW));
}

void ExpectAccessDateKept(const std::string& path) {
  EXPECT_EQ(kLongAgo, LstatAt(path).st_atim.tv_sec) << path;
  EXPECT_EQ(7, LstatAt(path).st_atim.tv_nsec) << path;
}

class OpenWithoutAtimeTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(folder_ / "probe", "x");
    SetAccessDate(folder_ / "probe");
    (void)ReadFile(folder_ / "probe");
    if (LstatAt(folder_ / "probe").st_atim.tv_sec == kLongAgo) {
      GTEST_SKIP() << "the filesystem does not record access times";
    }
  }

  const std::string package_ = "package/Contents";
  TemporaryFolder folder_;
};

TEST_F(OpenWithoutAtimeTest, CopyingKeepsAccessTime) {
  WriteFile(folder_ / "file", "contents");
  WriteFile(folder_ / (package_ + "/inner"), "contents");
  MakeFolder(folder_ / "to");
  for (const std::string& name :
       {std::string("file"), package_ + "/inner", package_, std::string("package")}) {
    SetAccessDate(folder_ / name);
  }
  EXPECT_EQ(noErr, CopyAt(folder_ / "file", folder_ / "to/file"));
  EXPECT_EQ(noErr, CopyAt(folder_ / "package", folder_ / "to/package"));
  for (const std::string& name :
       {std::string("file"), package_ + "/inner", package_, std::string("package")}) {
    ExpectAccessDateKept(folder_ / name);
    ExpectAccessDateKept(folder_ / ("to/" + name));
  }
  EXPECT_EQ("contents", ReadFile(folder_ / "to/file"));
}

TEST_F(OpenWithoutAtimeTest, ListingKeepsAccessTime) {
  WriteFile(folder_ / "listed/file");
  SetAccessDate(folder_ / "listed");
  const NSAutoreleasePool pool;
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(folder_ / "listed"), &iterator));
  std::array<FSRef, 4> refs;
  size_t count = 0;
  bool hasChanged = false;
  EXPECT_EQ(errFSNoMoreItems,
            FSGetCatalogInfoBulk(*iterator, refs.size(), &count, &hasChanged, refs.data()));
  EXPECT_EQ(1U, count);
  ExpectAccessDateKept(folder_ / "listed");
}

// Only the owner may use O_NOATIME, but others may copy the file.
TEST(OpenWithoutAtime, OpensFilesOfOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another user";
  const TemporaryFolder folder;
  WriteFile(folder / "file", "theirs");
  WriteFile(folder / "package/inner", "theirs");
  MakeFolder(folder / "to");
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  std::filesystem::permissions(folder / "to", std::filesystem::perms(0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "to/file"));
    EXPECT_EQ(noErr, CopyAt(folder / "package", folder / "to/package"));
    EXPECT_EQ("theirs", ReadFile(folder / "to/file"));
    EXPECT_EQ(std::vector<std::string>{"inner"}, NamesIn(folder / "to/package"));
  }));
}

TEST(OpenWithoutAtime, SetsErrno) {
  EXPECT_FALSE(OpenWithoutAtime(AT_FDCWD, "/nonexistent", 0));
  EXPECT_EQ(ENOENT, errno);
}

}  // namespace
}  // namespace tessary::test
