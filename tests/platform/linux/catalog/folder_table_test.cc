#include "platform/linux/catalog/folder_table.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

#ifdef TESSARY_SANITIZE
#include <sanitizer/allocator_interface.h>
#endif

namespace tessary::test {
namespace {

size_t AllocatedBytes() {
#ifdef TESSARY_SANITIZE
  return __sanitizer_get_current_allocated_bytes();
#else
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#endif
}

// Nested folders, deeper than the longest path that the kernel accepts.
class DeepFolders : public testing::Test {
 protected:
  ~DeepFolders() override {
    // TemporaryFolder cannot remove them by their paths.
    const UniqueFd folder = OpenFolder(folder_.path());
    const UniqueFd top(openat(folder.get(), name_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    bool hasBegun = false;
    EXPECT_EQ(noErr, DeleteTree(folder.get(), name_.c_str(), top.get(), &hasBegun));
  }

  void MakeLevels(int count) {
    levels_.push_back(RefAt(folder_.path()));
    for (int i = 0; i < count; ++i) {
      FSRef below;
      const std::u16string catalogName(name_.begin(), name_.end());
      ASSERT_EQ(noErr, FSCreateDirectoryUnicode(levels_.back(), catalogName, &below)) << i;
      levels_.push_back(below);
    }
  }

  // The reference of a new empty folder.
  FSRef RefAtNew(size_t first, int second) const {
    const std::string path = folder_ / (std::to_string(first) + "-" + std::to_string(second));
    MakeFolder(path);
    return RefAt(path);
  }

  static std::string PathOf(const FSRef& ref) {
    std::array<char, 8192> buffer = {};
    EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), buffer.size()));
    return buffer.data();
  }

  // The number of items in the folder, -1 if it cannot be listed.
  static int CountItems(const FSRef& folder) {
    FSIterator iterator;
    if (FSOpenIterator(folder, &iterator) != noErr) return -1;
    std::array<FSRef, 8> refs;
    size_t count = 0;
    bool hasChanged = false;
    const Status status =
        FSGetCatalogInfoBulk(*iterator, refs.size(), &count, &hasChanged, refs.data());
    return status == errFSNoMoreItems ? static_cast<int>(count) : -1;
  }

  const std::string name_ = std::string(100, 'd');
  NSAutoreleasePool pool_;
  TemporaryFolder folder_;
  std::vector<FSRef> levels_;
};

TEST_F(DeepFolders, UseBoundedMemory) {
  constexpr int kLevels = 5000;
  constexpr size_t kMostBytes = 16 << 20;
  const size_t before = AllocatedBytes();
  ASSERT_NO_FATAL_FAILURE(MakeLevels(kLevels));
  // From the bottom up: by now most descriptors have been closed.
  for (int i = kLevels; i > 0; i -= 500) {
    EXPECT_EQ(i == kLevels ? 0 : 1, CountItems(levels_[static_cast<size_t>(i)])) << i;
  }
  EXPECT_EQ(0, CountItems(levels_.back()));
  EXPECT_LT(AllocatedBytes() - before, kMostBytes);
}

TEST_F(DeepFolders, HavePathsOfAnyLength) {
  constexpr size_t kLevels = 60;
  ASSERT_NO_FATAL_FAILURE(MakeLevels(kLevels));
  std::string path = folder_.path();
  for (size_t i = 0; i <= kLevels; ++i) {
    std::string buffer(path.size() + 1, 'x');
    EXPECT_EQ(bdNamErr, FSRefMakePath(levels_[i], buffer.data(), path.size()));
    EXPECT_EQ('x', buffer[0]);
    ASSERT_EQ(noErr, FSRefMakePath(levels_[i], buffer.data(), buffer.size())) << i;
    EXPECT_EQ(path, buffer.c_str());
    path += "/" + name_;
  }
  EXPECT_GT(path.size(), static_cast<size_t>(PATH_MAX));
}

// The kernel accepts paths of 4,095 bytes.
TEST_F(DeepFolders, PathsAroundLongestOne) {
  ASSERT_NO_FATAL_FAILURE(MakeLevels(38));
  const size_t length = PathOf(levels_.back()).size();
  for (const size_t wanted : {4094U, 4095U, 4096U, 4097U}) {
    const std::u16string name(wanted - length - 1, u'n');
    FSRef folder;
    ASSERT_EQ(noErr, FSCreateDirectoryUnicode(levels_.back(), name, &folder));
    EXPECT_EQ(wanted, PathOf(folder).size());
    // Opens so many other folders that the new one is closed.
    for (int i = 0; i < 100; ++i) EXPECT_EQ(0, CountItems(RefAtNew(wanted, i)));
    EXPECT_EQ(0, CountItems(folder)) << wanted;
    FSRef below;
    EXPECT_EQ(noErr, FSCreateDirectoryUnicode(folder, u"below", &below)) << wanted;
    EXPECT_EQ(0, CountItems(below)) << wanted;
    EXPECT_EQ(1, CountItems(folder)) << wanted;
  }
}

TEST_F(DeepFolders, AreVerifiedByIdentity) {
  constexpr size_t kLevels = 200;
  constexpr size_t kSwapped = 120;
  ASSERT_NO_FATAL_FAILURE(MakeLevels(kLevels));
  UniqueFd above = OpenFolder(folder_.path());
  for (size_t i = 1; i < kSwapped; ++i) {
    above.Reset(openat(above.get(), name_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  ASSERT_EQ(0, renameat(above.get(), name_.c_str(), above.get(), "moved"));
  ASSERT_EQ(0, mkdirat(above.get(), name_.c_str(), 0700));
  // Opens so many other folders that theirs are closed.
  for (int i = 0; i < 100; ++i) {
    const std::string other = folder_ / (std::to_string(i) + "/file");
    WriteFile(other);
    EXPECT_TRUE(FSIsFSRefValid(RefAt(other)));
  }
  EXPECT_EQ(-1, CountItems(levels_.back()));
  EXPECT_FALSE(FSIsFSRefValid(levels_[kSwapped]));
  EXPECT_TRUE(FSIsFSRefValid(levels_[kSwapped - 1]));
}

TEST(FolderTable, ClosesFoldersIfOutOfDescriptors) {
  const TemporaryFolder folder;
  WriteFile(folder / "first/file");
  WriteFile(folder / "second/file");
  const std::string second = folder / "second";
  RunWithPausedCalls({{SYS_openat, second, 1, {}, EMFILE}}, [&] {
    const NSAutoreleasePool pool;
    EXPECT_TRUE(FSIsFSRefValid(RefAt(folder / "first/file")));
    const size_t before = CountOpenDescriptors();
    EXPECT_TRUE(FSIsFSRefValid(RefAt(folder / "second/file")));
    EXPECT_GE(before, CountOpenDescriptors());
    EXPECT_TRUE(FSIsFSRefValid(RefAt(folder / "first/file")));
  });
}

TEST(FolderTable, FlagsLastForOneRun) {
  const TemporaryFolder folder;
  FolderTable& folders = Catalog::Get().folders();
  const uint32_t number = folders.Intern(ReferenceOf(RefAt(folder.path())));
  {
    const NSAutoreleasePool run;
    EXPECT_FALSE(folders.IsListed(number));
    EXPECT_FALSE(folders.IsRecovered(number));
    folders.NoteListed(number);
    folders.NoteRecovered(number);
    EXPECT_TRUE(folders.IsListed(number));
    EXPECT_TRUE(folders.IsRecovered(number));
  }
  EXPECT_FALSE(folders.IsListed(number));
  EXPECT_FALSE(folders.IsRecovered(number));
}

}  // namespace
}  // namespace tessary::test
