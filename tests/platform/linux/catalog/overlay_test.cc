#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

// Has the kernel drop the objects that nobody uses. False if this process may not ask for it.
bool DropCaches() {
  const UniqueFd file(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
  sync();
  return file && write(file.get(), "2", 1) == 1;
}

// The number of items in the folder, -1 if it cannot be listed.
int CountItems(const FSRef& folder) {
  FSIterator iterator;
  if (FSOpenIterator(folder, &iterator) != noErr) return -1;
  std::array<FSRef, 8> refs;
  size_t count = 0;
  bool changed = false;
  const Status status = FSGetCatalogInfoBulk(*iterator, refs.size(), &count, &changed, refs.data());
  return status == errFSNoMoreItems ? static_cast<int>(count) : -1;
}

// An overlay whose layers are on different filesystems, as that of a live system: folders have no
// stable inode numbers, and the first change in a folder of the lower layer gives it a copy in the
// upper one, with another birth time.
class OverlayTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
    for (const std::string name : {"lower", "upper"}) {
      MakeFolder(scratch_ / name);
      if (!Mount("tmpfs", name, "mode=0700")) GTEST_SKIP() << "cannot mount here";
    }
    for (int i = 0; i < kFolders; ++i) {
      WriteFile(scratch_ / ("lower/source/" + std::to_string(i) + "/file.txt"), "text");
    }
    for (const std::string name : {"upper/files", "upper/work", "overlay"}) {
      MakeFolder(scratch_ / name);
    }
    const std::string options = "lowerdir=" + scratch_ / "lower" +
                                ",upperdir=" + scratch_ / "upper/files" +
                                ",workdir=" + scratch_ / "upper/work";
    if (!Mount("overlay", "overlay", options)) GTEST_SKIP() << "cannot mount an overlay here";
  }

  ~OverlayTest() override {
    for (const std::string& name : mounted_) umount2((scratch_ / name).c_str(), MNT_DETACH);
  }

  bool Mount(const std::string& type, const std::string& name, const std::string& options) {
    const std::string path = scratch_ / name;
    if (mount(type.c_str(), path.c_str(), type.c_str(), 0, options.c_str()) != 0) return false;
    mounted_.push_back(name);
    return true;
  }

  std::string InSource(int number) const {
    return scratch_ / ("overlay/source/" + std::to_string(number));
  }

  // More than the folder table keeps open.
  static constexpr int kFolders = 200;

  const TemporaryFolder scratch_;
  std::vector<std::string> mounted_;
  const NSAutoreleasePool pool_;
};

TEST_F(OverlayTest, FoldersStayValidAfterRenumbering) {
  if (!DropCaches()) GTEST_SKIP() << "only root can have the kernel drop its caches";
  const FSRef folder = RefAt(InSource(0));
  for (int i = 0; i < 5; ++i) DropCaches();
  EXPECT_TRUE(FSIsFSRefValid(folder));
  EXPECT_EQ(noErr, FSCompareFSRefs(folder, RefAt(InSource(0))));
  EXPECT_EQ(1, CountItems(folder));
}

TEST_F(OverlayTest, FoldersStayValidAfterFirstChange) {
  std::vector<FSRef> folders;
  std::vector<FSRef> files;
  for (int i = 0; i < kFolders; ++i) {
    folders.push_back(RefAt(InSource(i)));
    files.push_back(RefAt(InSource(i) + "/file.txt"));
  }
  for (int i = 0; i < kFolders; ++i) WriteFile(InSource(i) + "/new.txt", "new");
  for (size_t i = 0; i < kFolders; ++i) {
    EXPECT_TRUE(FSIsFSRefValid(folders[i])) << i;
    EXPECT_TRUE(FSIsFSRefValid(files[i])) << i;
    EXPECT_EQ(noErr, FSCompareFSRefs(folders[i], RefAt(InSource(static_cast<int>(i))))) << i;
  }
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(folders[0], folders[1]));
}

// An overlay whose layers are on one filesystem, as that of a container: its inode numbers are
// stable.
class OverlayOnOneFilesystem : public OverlayTest {
 protected:
  void SetUp() override {
    std::string reason;
    if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
    MakeFolder(scratch_ / "lower");
    if (!Mount("tmpfs", "lower", "mode=0700")) GTEST_SKIP() << "cannot mount here";
    for (const std::string name : {"lower/files", "lower/upper", "lower/work", "overlay"}) {
      MakeFolder(scratch_ / name);
    }
    const std::string options = "lowerdir=" + scratch_ / "lower/files" +
                                ",upperdir=" + scratch_ / "lower/upper" +
                                ",workdir=" + scratch_ / "lower/work";
    if (!Mount("overlay", "overlay", options)) GTEST_SKIP() << "cannot mount an overlay here";
  }
};

TEST_F(OverlayOnOneFilesystem, ReplacedFolderIsInvalid) {
  MakeFolder(scratch_ / "overlay/folder");
  const FSRef folder = RefAt(scratch_ / "overlay/folder");
  EXPECT_TRUE(FSIsFSRefValid(folder));
  ASSERT_EQ(0, rename((scratch_ / "overlay/folder").c_str(), (scratch_ / "overlay/old").c_str()));
  MakeFolder(scratch_ / "overlay/folder");
  EXPECT_FALSE(FSIsFSRefValid(folder));
}

TEST_F(OverlayTest, ReplacedFileIsInvalid) {
  const FSRef file = RefAt(InSource(0) + "/file.txt");
  WriteFile(scratch_ / "overlay/other", "other");
  ASSERT_EQ(0, rename((scratch_ / "overlay/other").c_str(), (InSource(0) + "/file.txt").c_str()));
  EXPECT_FALSE(FSIsFSRefValid(file));
}

}  // namespace
}  // namespace tessary::test
