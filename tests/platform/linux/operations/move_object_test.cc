#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(FSMoveObjectSync, RenamesSpecialFileWithoutOpening) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  FSRef target;
  ASSERT_EQ(noErr,
            FSMoveObjectSync(RefAt(folder / "fifo"), RefAt(folder / "to"), nullptr, &target));
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "to/fifo"));
  EXPECT_EQ(paramErr,
            FSCopyObjectSync(RefAt(folder / "to/fifo"), RefAt(folder.path()), nullptr, &target));
}

TEST(FSMoveObjectSync, KeepsIdentity) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  WriteFile(folder / "file");
  const FSRef before = RefAt(folder / "file");
  FSRef after;
  ASSERT_EQ(noErr, FSMoveObjectSync(before, RefAt(folder / "to"), nullptr, &after));
  EXPECT_EQ(noErr, FSCompareFSRefs(before, after));
  EXPECT_FALSE(FSIsFSRefValid(before));
  EXPECT_TRUE(FSIsFSRefValid(after));
}

TEST(FSMoveObjectSync, RejectsMountPoint) {
  const TemporaryFolder folder;
  MakeFolder(folder / "mounted");
  MakeFolder(folder / "to");
  if (mount("none", (folder / "mounted").c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "cannot mount here: " << strerror(errno);
  }
  WriteFile(folder / "mounted/file", "kept");
  FSRef target;
  EXPECT_NE(noErr,
            FSMoveObjectSync(RefAt(folder / "mounted"), RefAt(folder / "to"), nullptr, &target));
  EXPECT_EQ("kept", ReadFile(folder / "mounted/file"));
  EXPECT_TRUE(NamesIn(folder / "to").empty());
  EXPECT_EQ(0, umount2((folder / "mounted").c_str(), MNT_DETACH));
}

TEST(FSMoveObjectSync, MovesThroughBindMount) {
  const TemporaryFolder folder;
  MakeFolder(folder / "real");
  MakeFolder(folder / "bound");
  if (mount((folder / "real").c_str(), (folder / "bound").c_str(), nullptr, MS_BIND, nullptr) !=
      0) {
    GTEST_SKIP() << "cannot mount here: " << strerror(errno);
  }
  WriteFile(folder / "file", "contents");
  FSRef target;
  EXPECT_EQ(noErr,
            FSMoveObjectSync(RefAt(folder / "file"), RefAt(folder / "bound"), nullptr, &target));
  EXPECT_EQ("contents", ReadFile(folder / "real/file"));
  EXPECT_FALSE(Exists(folder / "file"));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "real"), RefAt(folder / "bound")));
  EXPECT_EQ(badMovErr,
            FSMoveObjectSync(RefAt(folder / "real"), RefAt(folder / "bound"), nullptr, &target));
  EXPECT_EQ("contents", ReadFile(folder / "real/file"));
  EXPECT_EQ(0, umount2((folder / "bound").c_str(), MNT_DETACH));
}

TEST(FSTryFastMove, MovesFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  MakeFolder(folder / "to");
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastMove(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_EQ("a", ReadFile(folder / "to/a.txt"));
  EXPECT_FALSE(Exists(folder / "a.txt"));
  EXPECT_EQ(folder / "to/a.txt", PathOf(target));
  EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / "to/a.txt")));
}

TEST(FSTryFastMove, ChangesNothingOutsideFastPath) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/exists.txt", "new");
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/._a.txt", "sidecar");
  MakeFolder(folder / "from/sub");
  WriteFile(folder / "to/exists.txt", "old");
  const std::vector<std::string> before = FilesBelow(folder.path());
  const FSRef to = RefAt(folder / "to");
  const FSRef file = RefAt(folder / "to/exists.txt");
  FSRef target;
  EXPECT_EQ(dupFNErr, FSTryFastMove(RefAt(folder / "from/exists.txt"), to, &target));
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/sub"), to, &target));
  EXPECT_EQ(errFSNotAFolder, FSTryFastMove(RefAt(folder / "from/a.txt"), file, &target));
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/a.txt"), to, nullptr));
  ListFolder(folder / "from");
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/a.txt"), to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
  EXPECT_EQ("old", ReadFile(folder / "to/exists.txt"));
}

}  // namespace
}  // namespace tessary::test
