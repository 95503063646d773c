#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_manager.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr size_t kBatch = 10;

struct Listing {
  std::vector<std::string> paths;
  bool changed = false;
  Status status = noErr;
};

std::string PathOf(const FSRef& ref) {
  std::array<char, 4096> buffer = {};
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), buffer.size()));
  return buffer.data();
}

// Lists to the end, calling `between` after the first batch.
template <typename Function>
Listing ListAll(const std::string& folder, Function between) {
  Listing listing;
  FSIterator iterator;
  listing.status = FSOpenIterator(RefAt(folder), &iterator);
  for (bool isFirst = true; listing.status == noErr; isFirst = false) {
    std::array<FSRef, kBatch> refs;
    size_t actual = 0;
    bool changed = false;
    listing.status = FSGetCatalogInfoBulk(*iterator, kBatch, &actual, &changed, refs.data());
    listing.changed |= changed;
    for (size_t i = 0; i < actual; ++i) listing.paths.push_back(PathOf(refs[i]));
    if (isFirst) between();
  }
  std::sort(listing.paths.begin(), listing.paths.end());
  return listing;
}

Listing ListAll(const std::string& folder) {
  return ListAll(folder, [] {});
}

TEST(FSGetCatalogInfoBulk, DeliversEveryKindOfChild) {
  const TemporaryFolder folder;
  std::vector<std::string> expected;
  for (const std::string name : {"file", ".hidden", "\xff\xfe", "new\nline", "a:b"}) {
    WriteFile(folder / name);
    expected.push_back(folder / name);
  }
  WriteFile(folder / std::string(255, 'n'));
  expected.push_back(folder / std::string(255, 'n'));
  MakeFolder(folder / "sub");
  MakeLink("nowhere", folder / "dangling");
  MakeLink("sub", folder / "toFolder");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  for (const char* name : {"sub", "dangling", "toFolder", "fifo"})
    expected.push_back(folder / name);
  std::sort(expected.begin(), expected.end());

  const Listing listing = ListAll(folder.path());
  EXPECT_EQ(errFSNoMoreItems, listing.status);
  EXPECT_EQ(expected, listing.paths);
  EXPECT_FALSE(listing.changed);
}

// For example the mount point of another user's filesystem, or of a driver that has crashed, or a
// damaged folder.
TEST(FSGetCatalogInfoBulk, DeliversUnreadableChild) {
  const TemporaryFolder folder;
  MakeFolder(folder / "closed");
  WriteFile(folder / "file");
  const std::vector<std::pair<int, Status>> rows = {{EACCES, afpAccessDenied},
                                                    {EIO, ioErr},
                                                    {ENOTCONN, ioErr},
                                                    {EUCLEAN, ioErr},
                                                    {ESTALE, errFSBadFSRef}};
  for (const auto& [error, expected] : rows) {
    FSIterator iterator;
    ASSERT_EQ(noErr, FSOpenIterator(RefAt(folder.path()), &iterator));
    EXPECT_TRUE(RunWithInjectedErrors({{SYS_statx, error, 2, AT_SYMLINK_NOFOLLOW}}, [&,
                                                                                     wanted =
                                                                                         expected] {
      std::array<FSRef, kBatch> refs;
      size_t actual = 0;
      bool changed = false;
      EXPECT_EQ(errFSNoMoreItems,
                FSGetCatalogInfoBulk(*iterator, kBatch, &actual, &changed, refs.data()));
      EXPECT_EQ(2U, actual);
      for (size_t i = 0; i < actual; ++i) {
        FSCatalogInfo info;
        EXPECT_EQ(wanted,
                  FSGetCatalogInfo(refs[i], kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr));
      }
    })) << error;
  }
}

TEST(FSGetCatalogInfoBulk, EmptyFolderEndsWithFirstCall) {
  const TemporaryFolder folder;
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(folder.path()), &iterator));
  FSRef ref;
  size_t actual = 7;
  bool changed = true;
  EXPECT_EQ(errFSNoMoreItems, FSGetCatalogInfoBulk(*iterator, 1, &actual, &changed, &ref));
  EXPECT_EQ(0U, actual);
  EXPECT_FALSE(changed);
}

TEST(FSGetCatalogInfoBulk, DeliversMoreThanOneBuffer) {
  const TemporaryFolder folder;
  constexpr size_t kCount = 5000;
  for (size_t i = 0; i < kCount; ++i) WriteFile(folder / ("file" + std::to_string(i)));
  const Listing listing = ListAll(folder.path());
  EXPECT_EQ(kCount, listing.paths.size());
  EXPECT_EQ(listing.paths.end(), std::adjacent_find(listing.paths.begin(), listing.paths.end()));
}

TEST(FSGetCatalogInfoBulk, ReportsReadError) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  RunWithPausedCalls({{SYS_getdents64, "", 2, {}, EIO}}, [&folder] {
    const Listing listing = ListAll(folder.path());
    EXPECT_EQ(ioErr, listing.status);
    EXPECT_TRUE(listing.paths.empty());
  });
}

TEST(FSGetCatalogInfoBulk, ReportsChangedFolder) {
  const TemporaryFolder folder;
  for (int i = 0; i < 25; ++i) WriteFile(folder / ("file" + std::to_string(i)));
  SetModificationDate(folder.path(), 1'000'000'000);
  const Listing listing = ListAll(folder.path(), [&] { WriteFile(folder / "new"); });
  EXPECT_EQ(errFSNoMoreItems, listing.status);
  EXPECT_TRUE(listing.changed);
  EXPECT_GE(listing.paths.size(), 25U);
}

TEST(FSOpenIterator, RejectsOtherObjects) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeFolder(folder / "sub");
  MakeLink("sub", folder / "link");
  FSIterator iterator;
  EXPECT_EQ(errFSNotAFolder, FSOpenIterator(RefAt(folder / "file"), &iterator));
  EXPECT_EQ(errFSNotAFolder, FSOpenIterator(RefAt(folder / "link"), &iterator));
  EXPECT_EQ(paramErr, FSOpenIterator(FSRef{}, &iterator));
  EXPECT_EQ(paramErr, FSOpenIterator(RefAt(folder.path()), nullptr));
  EXPECT_EQ(nullptr, iterator);
}

TEST(FSOpenIterator, FailsForMissingFolder) {
  const TemporaryFolder folder;
  MakeFolder(folder / "sub");
  const FSRef sub = RefAt(folder / "sub");
  ASSERT_EQ(0, rmdir((folder / "sub").c_str()));
  FSIterator iterator;
  EXPECT_EQ(fnfErr, FSOpenIterator(sub, &iterator));
}

TEST(FSCloseIterator, ClosesOnce) {
  const TemporaryFolder folder;
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(folder.path()), &iterator));
  EXPECT_EQ(noErr, FSCloseIterator(&iterator));
  EXPECT_EQ(paramErr, FSCloseIterator(&iterator));
  EXPECT_EQ(paramErr, FSCloseIterator(nullptr));
}

TEST(FSGetCatalogInfoBulk, RejectsMissingArguments) {
  const TemporaryFolder folder;
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(folder.path()), &iterator));
  FSRef ref;
  size_t actual = 0;
  bool changed = false;
  EXPECT_EQ(paramErr, FSGetCatalogInfoBulk(*iterator, 0, &actual, &changed, &ref));
  EXPECT_EQ(paramErr, FSGetCatalogInfoBulk(*iterator, 1, nullptr, &changed, &ref));
  EXPECT_EQ(paramErr, FSGetCatalogInfoBulk(*iterator, 1, &actual, nullptr, &ref));
  EXPECT_EQ(paramErr, FSGetCatalogInfoBulk(*iterator, 1, &actual, &changed, nullptr));
}

TEST(FSGetCatalogInfoBulk, NotesSidecars) {
  const TemporaryFolder folder;
  WriteFile(folder / "with/photo.jpg");
  WriteFile(folder / "with/._photo.jpg");
  WriteFile(folder / "without/photo.jpg");
  WriteFile(folder / "without/._");
  for (const char* name : {"with", "without"}) {
    Place place;
    const Reference photo = ReferenceOf(RefAt(folder / (std::string(name) + "/photo.jpg")));
    ASSERT_EQ(noErr, Catalog::Get().Find(photo, &place));
    EXPECT_FALSE(place.mayHaveSidecar) << "nothing was listed yet";
    ASSERT_EQ(errFSNoMoreItems, ListAll(folder / name).status);
    ASSERT_EQ(noErr, Catalog::Get().Find(photo, &place));
    EXPECT_EQ(std::string(name) == "with", place.mayHaveSidecar);
  }
}

}  // namespace
}  // namespace tessary::test
