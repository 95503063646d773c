#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/memory_volume.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(FSTryFastCopy, CopiesSmallFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  SetModificationDate(folder / "a.txt", 1'236'168'000);
  MakeFolder(folder / "to");
  const FSStatCacheScope scope;
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastCopy(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_EQ("a", ReadFile(folder / "to/a.txt"));
  EXPECT_EQ("a", ReadFile(folder / "a.txt"));
  EXPECT_EQ(folder / "to/a.txt", PathOf(target));
  const auto date = CopyFileDateAtPath(folder / "to/a.txt", DateAttribute::NSFileModificationDate);
  EXPECT_EQ((Timestamp{1'236'168'000, 0}), date);
}

TEST(FSTryFastCopy, ReturnsReferenceOfCopy) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  MakeFolder(folder / "to");
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastCopy(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_TRUE(FSIsFSRefValid(target));
  EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / "to/a.txt")));
  WriteFile(folder / "other", "another");
  ASSERT_EQ(0, rename((folder / "other").c_str(), (folder / "to/a.txt").c_str()));
  EXPECT_FALSE(FSIsFSRefValid(target));
}

TEST(FSTryFastCopy, ChangesNothingOutsideFastPath) {
  const TemporaryFolder folder;
  const std::vector<std::string> existing = {"file", "folder", "link"};
  for (const std::string& name : existing) WriteFile(folder / ("from/" + name), "new");
  WriteFile(folder / "to/file", "old");
  MakeFolder(folder / "to/folder");
  MakeLink("nowhere", folder / "to/link");
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/big", std::string((1 << 20) + 1, 'x'));
  WriteFile(folder / "from/Tool.app/file", "in a package");
  MakeLink("a.txt", folder / "from/a link");
  ASSERT_EQ(0, mkfifo((folder / "from/fifo").c_str(), 0600));
  const std::vector<std::string> before = FilesBelow(folder.path());
  const FSRef to = RefAt(folder / "to");
  const auto copy = [&folder, &to](const std::string& name) {
    FSRef target;
    return FSTryFastCopy(RefAt(folder / ("from/" + name)), to, &target);
  };
  for (const std::string& name : existing) EXPECT_EQ(dupFNErr, copy(name)) << name;
  for (const char* name : {"big", "Tool.app", "a link", "fifo"}) {
    EXPECT_EQ(paramErr, copy(name)) << name;
  }
  FSRef target;
  const FSRef item = RefAt(folder / "from/a.txt");
  EXPECT_EQ(errFSNotAFolder, FSTryFastCopy(item, RefAt(folder / "to/file"), &target));
  EXPECT_EQ(paramErr, FSTryFastCopy(item, to, nullptr));
  EXPECT_EQ(paramErr, FSTryFastCopy(FSRef{}, to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
  EXPECT_EQ("old", ReadFile(folder / "to/file"));
}

TEST(FSTryFastCopy, RejectsItemWithSidecar) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/._a.txt", "sidecar");
  MakeFolder(folder / "to");
  const std::vector<std::string> before = FilesBelow(folder.path());
  ListFolder(folder / "from");
  const FSRef to = RefAt(folder / "to");
  FSRef target;
  EXPECT_EQ(paramErr, FSTryFastCopy(RefAt(folder / "from/a.txt"), to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
}

TEST(FSTryFastCopy, RejectsReplacedFile) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  const std::vector<std::function<void(const std::string&)>> replacements = {
      [](const std::string& path) { WriteFile(path, "another"); },
      [](const std::string& path) { MakeLink("/etc/hostname", path); },
      [](const std::string& path) { MakeFolder(path); },
      // Opening a FIFO for reading would block.
      [](const std::string& path) { ASSERT_EQ(0, mkfifo(path.c_str(), 0600)); },
      [](const std::string& /*path*/) {}};
  for (size_t i = 0; i < replacements.size(); ++i) {
    const std::string path = folder / ("file" + std::to_string(i));
    WriteFile(path, "listed");
    const FSRef listed = RefAt(path);
    // The original is renamed, not deleted, so that its inode number is not reused.
    ASSERT_EQ(0, rename(path.c_str(), (path + " elsewhere").c_str()));
    replacements[i](path);
    FSRef target;
    EXPECT_EQ(fnfErr, FSTryFastCopy(listed, RefAt(folder / "to"), &target)) << i;
  }
  EXPECT_TRUE(NamesIn(folder / "to").empty());
}

TEST(FSTryFastCopy, LeavesNothingOnFullFilesystem) {
  const TemporaryFolder folder;
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  WriteFile(folder / "file", std::string(100'000, 'x'));
  FSRef target;
  EXPECT_EQ(dskFulErr, FSTryFastCopy(RefAt(folder / "file"), RefAt(volume.path()), &target));
  EXPECT_TRUE(NamesIn(volume.path()).empty());
}

}  // namespace
}  // namespace tessary::test
