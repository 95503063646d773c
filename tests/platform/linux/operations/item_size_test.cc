#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>

#include "platform/managers/item_details.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(CopyItemSize, IsThatOfFileOrLink) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "12345");
  MakeLink("nowhere", folder / "link");
  uint64_t bytes = 0;
  EXPECT_EQ(noErr, CopyItemSize(RefAt(folder / "file"), &bytes));
  EXPECT_EQ(5U, bytes);
  EXPECT_EQ(noErr, CopyItemSize(RefAt(folder / "link"), &bytes));
  EXPECT_EQ(7U, bytes);
}

TEST(CopyItemSize, IsSumOfFolder) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.app/Contents/1", "12345");
  WriteFile(folder / "a.app/2", "12");
  MakeLink("nowhere", folder / "a.app/link");
  MakeFolder(folder / "a.app/empty");
  std::filesystem::create_hard_link(folder / "a.app/2", folder / "a.app/Contents/2");
  uint64_t bytes = 0;
  EXPECT_EQ(noErr, CopyItemSize(RefAt(folder / "a.app"), &bytes));
  EXPECT_EQ(14U, bytes);
}

TEST(CopyItemSize, FailsWithoutObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "12345");
  const FSRef file = RefAt(folder / "file");
  std::filesystem::remove(folder / "file");
  uint64_t bytes = 1;
  EXPECT_EQ(fnfErr, CopyItemSize(file, &bytes));
  EXPECT_EQ(paramErr, CopyItemSize(FSRef(), &bytes));
  EXPECT_EQ(paramErr, CopyItemSize(file, nullptr));
  EXPECT_EQ(1U, bytes);
}

// The size of the package is unknown, not that of a part of it.
TEST(CopyItemSize, FailsForMountInside) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.app/1", "12345");
  MakeFolder(folder / "a.app/mount");
  const std::string mount = folder / "a.app/mount";
  if (::mount("none", mount.c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "no filesystem can be mounted here";
  }
  uint64_t bytes = 1;
  EXPECT_EQ(diffVolErr, CopyItemSize(RefAt(folder / "a.app"), &bytes));
  EXPECT_EQ(0, umount(mount.c_str()));
  EXPECT_EQ(1U, bytes);
}

}  // namespace
}  // namespace tessary::test
