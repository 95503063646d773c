#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/cache_dropper.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// References on filesystems that give an untouched object another inode number once the kernel has
// dropped it from memory.
namespace tessary::test {
namespace {

ino_t InodeAt(const std::string& path) { return LstatAt(path).st_ino; }

std::vector<FSRef> ListRefs(const std::string& path) {
  FSIterator iterator;
  std::array<FSRef, 10> refs;
  size_t count = 0;
  bool changed = false;
  EXPECT_EQ(noErr, FSOpenIterator(RefAt(path), &iterator));
  EXPECT_EQ(errFSNoMoreItems,
            FSGetCatalogInfoBulk(*iterator, refs.size(), &count, &changed, refs.data()));
  return {refs.begin(), refs.begin() + count};
}

class UnstableInodes : public testing::TestWithParam<VolumeKind> {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
    if (!DropCaches()) GTEST_SKIP() << "only root can have the kernel drop its caches";
    MakeFolder(volume_ / "source");
    MakeFolder(volume_ / "source/folder");
    WriteFile(volume_ / "source/folder/inner", "inner");
    WriteFile(volume_ / "source/file", "text");
  }

  const ScratchVolume volume_{GetParam()};
  const NSAutoreleasePool pool_;
};

INSTANTIATE_TEST_SUITE_P(Filesystem, UnstableInodes,
                         testing::Values(VolumeKind::kExfat, VolumeKind::kSshfs,
                                         VolumeKind::kMergerfs));

TEST_P(UnstableInodes, UntouchedObjectsStayValid) {
  const std::vector<FSRef> refs = ListRefs(volume_ / "source");
  ASSERT_EQ(2U, refs.size());
  const ino_t before = InodeAt(volume_ / "source/folder");
  // A drop can be too early for an object that was used a moment ago.
  for (int i = 0; i < 20 && InodeAt(volume_ / "source/folder") == before; ++i) DropCaches();
  if (InodeAt(volume_ / "source/folder") == before) GTEST_SKIP() << "inode numbers stayed";
  for (const FSRef& ref : refs) EXPECT_TRUE(FSIsFSRefValid(ref));
}

TEST_P(UnstableInodes, FolderCanBeListedAfterRenumbering) {
  const FSRef folder = RefAt(volume_ / "source/folder");
  for (int i = 0; i < 5; ++i) DropCaches();
  FSIterator iterator;
  EXPECT_EQ(noErr, FSOpenIterator(folder, &iterator));
}

TEST_P(UnstableInodes, OneFolderComparesEqualAfterRenumbering) {
  const FSRef before = RefAt(volume_ / "source/folder");
  for (int i = 0; i < 5; ++i) DropCaches();
  const FSRef after = RefAt(volume_ / "source/folder");
  EXPECT_EQ(noErr, FSCompareFSRefs(before, after));
}

TEST_P(UnstableInodes, TwoFoldersStayDifferent) {
  MakeFolder(volume_ / "source/other");
  EXPECT_EQ(errFSRefsDifferent,
            FSCompareFSRefs(RefAt(volume_ / "source/folder"), RefAt(volume_ / "source/other")));
  EXPECT_EQ(errFSRefsDifferent,
            FSCompareFSRefs(RefAt(volume_ / "source"), RefAt(volume_ / "source/folder")));
}

TEST_P(UnstableInodes, ReplacementOfAnotherKindIsInvalid) {
  const FSRef file = RefAt(volume_ / "source/file");
  ASSERT_EQ(0, unlink((volume_ / "source/file").c_str()));
  MakeFolder(volume_ / "source/file");
  EXPECT_FALSE(FSIsFSRefValid(file));
}

// Without hard links and RENAME_NOREPLACE, an empty file reserves the new name.
TEST_P(UnstableInodes, PlaceholderIsRecognisedAfterRenumbering) {
  constexpr int kFiles = 200;
  MakeFolder(volume_ / "target");
  for (int i = 0; i < kFiles; ++i) WriteFile(volume_ / ("source/" + std::to_string(i)), "text");
  const UniqueFd from = OpenFolder(volume_ / "source");
  const UniqueFd to = OpenFolder(volume_ / "target");
  const CacheDropper dropper(std::chrono::milliseconds(0));
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = std::to_string(i);
    EXPECT_EQ(noErr, RenameOntoPlaceholder(from.get(), name.c_str(), to.get(), name.c_str()));
    EXPECT_EQ("text", ReadFile(volume_ / ("target/" + name)));
  }
}

}  // namespace
}  // namespace tessary::test
