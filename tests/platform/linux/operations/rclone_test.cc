#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tool.h"
#include "tests/support/volumes.h"

// A mount of rclone without a cache. It reports EIO for attributes, replaces no folder by a rename,
// and creates a file when that is closed, even if it has been removed meanwhile.
namespace tessary::test {
namespace {

using Names = std::vector<std::string>;

class RcloneMount : public testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
    for (const char* name : {"below", "mount", "disk"}) MakeFolder(folder_ / name);
    driver_ = StartTool({"rclone", "--config", "/dev/null", "mount", folder_ / "below", mount()});
    constexpr int kTries = 500;
    for (int i = 0; i < kTries; ++i) {
      if (AreOnDifferentVolumes(mount(), folder_.path())) return;
      if (waitpid(driver_, nullptr, WNOHANG) == driver_) {
        driver_ = -1;
        GTEST_SKIP() << "rclone is not installed or cannot mount";
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    FAIL() << "rclone took too long";
  }

  void TearDown() override { Unmount(); }

  // Ends the driver, which then has done everything that it was asked for.
  void Unmount() {
    if (driver_ < 0) return;
    umount2(mount().c_str(), 0);
    umount2(mount().c_str(), MNT_DETACH);
    kill(driver_, SIGTERM);
    waitpid(driver_, nullptr, 0);
    driver_ = -1;
  }

  std::string mount() const { return folder_ / "mount"; }
  std::string disk() const { return folder_ / "disk"; }

  // Transfers all items.
  void Transfer(const std::string& from, const std::string& to, bool isMove) const {
    const NSAutoreleasePool pool;
    ListFolder(from);
    const auto transfer = isMove ? FSMoveObjectSync : FSCopyObjectSync;
    for (const std::string name : {"file", "item", "Tool.app"}) {
      FSRef target;
      EXPECT_EQ(noErr, transfer(RefAt(from + "/" + name), RefAt(to), nullptr, &target)) << name;
    }
  }

  const TemporaryFolder folder_;
  pid_t driver_ = -1;
};

TEST_F(RcloneMount, CopiesAndMovesToMount) {
  const Names names = {"._item", "Tool.app", "file", "item"};
  WriteFile(disk() + "/file", "file");
  WriteFile(disk() + "/item", "item");
  WriteFile(disk() + "/._item", "sidecar");
  WriteFile(disk() + "/Tool.app/inner", "inner");
  MakeFolder(mount() + "/copied");
  MakeFolder(mount() + "/moved");
  Transfer(disk(), mount() + "/copied", false);
  EXPECT_EQ(names, NamesIn(mount() + "/copied"));
  Transfer(disk(), mount() + "/moved", true);
  EXPECT_EQ(names, NamesIn(mount() + "/moved"));
  EXPECT_EQ(Names(), NamesIn(disk()));
}

// rclone is asked to remove files that it has not yet created at that time.
TEST_F(RcloneMount, FailedItemLeavesNothing) {
  constexpr int kRounds = 20;
  WriteFile(disk() + "/._Bad.app", "sidecar");
  WriteFile(disk() + "/Bad.app/inner", "inner");
  ASSERT_EQ(0, mkfifo((disk() + "/Bad.app/fifo").c_str(), 0600));
  MakeFolder(mount() + "/to");
  for (int i = 0; i < kRounds; ++i) {
    const NSAutoreleasePool pool;
    ListFolder(disk());
    const auto transfer = i % 2 == 0 ? FSMoveObjectSync : FSCopyObjectSync;
    FSRef target;
    EXPECT_EQ(paramErr,
              transfer(RefAt(disk() + "/Bad.app"), RefAt(mount() + "/to"), nullptr, &target));
  }
  Unmount();
  EXPECT_EQ(Names(), NamesIn(folder_ / "below/to"));
  EXPECT_EQ((Names{"._Bad.app", "Bad.app"}), NamesIn(disk()));
}

// An empty file reserves the name of each; rclone creates it when it is closed, perhaps late.
TEST_F(RcloneMount, MovedFilesKeepTheirContents) {
  constexpr int kFiles = 40;
  MakeFolder(mount() + "/to");
  for (int i = 0; i < kFiles; ++i) {
    const NSAutoreleasePool pool;
    const std::string path = disk() + "/" + std::to_string(i);
    WriteFile(path, i % 4 == 0 ? "" : path);
    FSRef target;
    EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(path), RefAt(mount() + "/to"), nullptr, &target)) << i;
  }
  Unmount();
  EXPECT_EQ(size_t{kFiles}, NamesIn(folder_ / "below/to").size());
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = std::to_string(i);
    EXPECT_EQ(i % 4 == 0 ? "" : disk() + "/" + name, ReadFile(folder_ / ("below/to/" + name)));
  }
}

}  // namespace
}  // namespace tessary::test
