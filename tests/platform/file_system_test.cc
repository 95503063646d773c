#include "platform/file_system.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/managers/text.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace {

// Called before each read of a folder. The read then fails with the error if it is not 0.
std::function<void()> gBeforeReading;
int gReadingError = 0;

}  // namespace

// Replaces the function of the C library in this test program.
extern "C" ssize_t getdents64(int folder, void* buffer, size_t size) noexcept {
  if (gBeforeReading) gBeforeReading();
  if (gReadingError != 0) {
    errno = gReadingError;
    return -1;
  }
  return syscall(SYS_getdents64, folder, buffer, size);
}

namespace tessary::test {
namespace {

using testing::UnorderedElementsAreArray;

bool IsZero(const FSRef& ref) {
  return std::all_of(std::begin(ref.hidden), std::end(ref.hidden),
                     [](unsigned char byte) { return byte == 0; });
}

// A reference to a deleted object.
FSRef DeletedRef(const TemporaryFolder& folder) {
  WriteFile(folder / "gone");
  const FSRef ref = RefAt(folder / "gone");
  EXPECT_EQ(0, unlink((folder / "gone").c_str()));
  return ref;
}

std::string NameOf(const FSRef& ref) {
  std::u16string name;
  EXPECT_EQ(noErr, GetItemName(ref, &name));
  return Utf8FromUtf16(name);
}

TEST(GetItemName, ReturnsCatalogName) {
  const struct {
    std::string posixName;
    std::u16string name;
  } rows[] = {
      {"a.txt", u"a.txt"},
      {".hidden", u".hidden"},
      {"..two", u"..two"},
      {"new\nline", u"new\nline"},
      {"50:50", u"50/50"},
      {"\xc3\xa9", u"\u00e9"},
      {"a\xff", {u'a', char16_t{0xdcff}}},
      {std::string(255, 'x'), std::u16string(255, u'x')},
  };
  const TemporaryFolder folder;
  for (const auto& row : rows) {
    WriteFile(folder / row.posixName);
    std::u16string name;
    EXPECT_EQ(noErr, GetItemName(RefAt(folder / row.posixName), &name));
    EXPECT_EQ(row.name, name);
  }
}

TEST(GetItemName, ReturnsNameOfLink) {
  const TemporaryFolder folder;
  MakeLink("nowhere", folder / "dangling");
  EXPECT_EQ("dangling", NameOf(RefAt(folder / "dangling")));
}

TEST(CatalogQueries, RejectNullArgument) {
  const TemporaryFolder folder;
  EXPECT_EQ(paramErr, GetItemName(DeletedRef(folder), nullptr));
  EXPECT_EQ(paramErr, GetParentFolder(DeletedRef(folder), nullptr));
  EXPECT_EQ(paramErr, GetLegacyFileSpec(DeletedRef(folder), nullptr));
}

TEST(GetItemName, WritesNothingOnFailure) {
  const TemporaryFolder folder;
  std::u16string name = u"before";
  EXPECT_EQ(fnfErr, GetItemName(DeletedRef(folder), &name));
  EXPECT_EQ(u"before", name);
}

TEST(GetParentFolder, ReturnsParent) {
  const TemporaryFolder folder;
  WriteFile(folder / "a/b.txt");
  FSRef parent;
  ASSERT_EQ(noErr, GetParentFolder(RefAt(folder / "a/b.txt"), &parent));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "a"), parent));
  ASSERT_EQ(noErr, GetParentFolder(RefAt(folder / "a"), &parent));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder.path()), parent));
  EXPECT_EQ(fnfErr, GetParentFolder(DeletedRef(folder), &parent));
}

TEST(GetParentFolder, AllZeroForRoot) {
  FSRef parent = RefAt("/usr");
  EXPECT_EQ(noErr, GetParentFolder(RefAt("/"), &parent));
  EXPECT_TRUE(IsZero(parent));
}

TEST(GetParentFolder, AllZeroForMountPoint) {
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  FSRef parent = RefAt("/usr");
  EXPECT_EQ(noErr, GetParentFolder(RefAt(volume.path()), &parent));
  EXPECT_TRUE(IsZero(parent));
  uint32_t nodeId = 0;
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(volume.path()), &nodeId, nullptr));
  EXPECT_EQ(kFSRootNodeID, nodeId);
}

TEST(GetNodeIdAndKind, ReturnsWantedFields) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink(folder.path(), folder / "link");
  ASSERT_EQ(0, link((folder / "file").c_str(), (folder / "same").c_str()));
  uint32_t nodeId = 0;
  uint32_t sameNodeId = 0;
  uint8_t isFolder = 7;
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(folder / "file"), &nodeId, &isFolder));
  EXPECT_EQ(0, isFolder);
  EXPECT_NE(kFSRootNodeID, nodeId);
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(folder / "same"), &sameNodeId, nullptr));
  EXPECT_EQ(nodeId, sameNodeId);
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(folder.path()), nullptr, &isFolder));
  EXPECT_EQ(1, isFolder);
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(folder / "link"), nullptr, &isFolder));
  EXPECT_EQ(0, isFolder);
}

TEST(GetNodeIdAndKind, ChecksExistence) {
  const TemporaryFolder folder;
  EXPECT_EQ(noErr, GetNodeIdAndKind(RefAt(folder.path()), nullptr, nullptr));
  EXPECT_EQ(fnfErr, GetNodeIdAndKind(DeletedRef(folder), nullptr, nullptr));
}

TEST(GetNodeIdAndKind, WritesNothingOnFailure) {
  const TemporaryFolder folder;
  uint32_t nodeId = 7;
  uint8_t isFolder = 7;
  EXPECT_EQ(fnfErr, GetNodeIdAndKind(DeletedRef(folder), &nodeId, &isFolder));
  EXPECT_EQ(7U, nodeId);
  EXPECT_EQ(7, isFolder);
}

TEST(GetFinderInfo, ReturnsWantedFields) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  if (!SetFinderInfo(folder / "file", "TEXT", kIsInvisible))
    GTEST_SKIP() << "needs extended attributes";
  FileInfo info;
  ExtendedFileInfo extendedInfo;
  uint8_t isFolder = 7;
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder / "file"), &info, &extendedInfo, &isFolder));
  EXPECT_EQ(uint32_t{0x54455854}, info.fileType);
  EXPECT_EQ(kIsInvisible, info.finderFlags);
  EXPECT_EQ(0, isFolder);

  info = {};
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder / "file"), &info, nullptr, nullptr));
  EXPECT_EQ(uint32_t{0x54455854}, info.fileType);
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder / "file"), nullptr, &extendedInfo, nullptr));
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder.path()), nullptr, nullptr, &isFolder));
  EXPECT_EQ(1, isFolder);
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder.path()), nullptr, nullptr, nullptr));
}

TEST(GetFinderInfo, AllZeroByDefault) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  FileInfo info = {.fileType = 1, .fileCreator = 1, .finderFlags = 1};
  EXPECT_EQ(noErr, GetFinderInfo(RefAt(folder / "file"), &info, nullptr, nullptr));
  EXPECT_EQ(0U, info.fileType);
  EXPECT_EQ(0U, info.fileCreator);
  EXPECT_EQ(0U, info.finderFlags);
}

TEST(GetFinderInfo, WritesNothingOnFailure) {
  const TemporaryFolder folder;
  FileInfo info = {.fileType = 7};
  uint8_t isFolder = 7;
  EXPECT_EQ(fnfErr, GetFinderInfo(DeletedRef(folder), &info, nullptr, &isFolder));
  EXPECT_EQ(7U, info.fileType);
  EXPECT_EQ(7, isFolder);
  EXPECT_EQ(fnfErr, GetFinderInfo(DeletedRef(folder), nullptr, nullptr, nullptr));
}

TEST(GetLegacyFileSpec, RoundTrips) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  FSSpec spec;
  ASSERT_EQ(noErr, GetLegacyFileSpec(RefAt(folder / "file"), &spec));
  FSRef ref;
  ASSERT_EQ(noErr, FSpMakeFSRef(spec, &ref));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "file"), ref));
}

TEST(FSRefBlock, AppendsInOrder) {
  FSRefBlock block;
  EXPECT_EQ(0U, block.size());
  EXPECT_EQ(block.begin(), block.end());
  EXPECT_EQ(noErr, block.Append(nullptr, 0));
  constexpr size_t kCount = 10007;
  for (size_t i = 0; i < kCount; ++i) {
    FSRef ref;
    std::memcpy(ref.hidden, &i, sizeof(i));
    ASSERT_EQ(noErr, block.Append(&ref, 1));
  }
  ASSERT_EQ(kCount, block.size());
  for (size_t i = 0; i < kCount; ++i) {
    size_t kept = 0;
    std::memcpy(&kept, block[i].hidden, sizeof(kept));
    ASSERT_EQ(i, kept);
  }
}

TEST(FSRefBlock, AppendsLargeBatch) {
  const std::vector<FSRef> refs(1000);
  FSRefBlock block;
  EXPECT_EQ(noErr, block.Append(refs.data(), refs.size()));
  EXPECT_EQ(1000U, block.size());
}

TEST(FSRefBlock, UnchangedWhenOutOfMemory) {
  FSRef ref;
  ref.hidden[0] = 42;
  FSRefBlock block;
  ASSERT_EQ(noErr, block.Append(&ref, 1));
  EXPECT_EQ(memFullErr, block.Append(&ref, SIZE_MAX / sizeof(FSRef)));
  ASSERT_EQ(1U, block.size());
  EXPECT_EQ(42, block[0].hidden[0]);
}

TEST(ListFolderItems, EmptyFolder) {
  const TemporaryFolder folder;
  std::unique_ptr<FSRefBlock> items;
  uint32_t count = 7;
  uint8_t changed = 7;
  EXPECT_EQ(noErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
  ASSERT_NE(nullptr, items);
  EXPECT_EQ(0U, items->size());
  EXPECT_EQ(0U, count);
  EXPECT_EQ(0, changed);
}

TEST(ListFolderItems, ListsDirectChildren) {
  const TemporaryFolder folder;
  const std::vector<std::string> names = {"a.txt", ".hidden", "..two",    "new\nline",
                                          "%@",    "a\xff",   "dangling", "hard"};
  for (const std::string& name : names) {
    if (name == "dangling") {
      MakeLink("nowhere", folder / name);
    } else if (name == "hard") {
      ASSERT_EQ(0, link((folder / "a.txt").c_str(), (folder / name).c_str()));
    } else {
      WriteFile(folder / name);
    }
  }
  WriteFile(folder / "sub/below");
  std::vector<std::string> expected = names;
  expected.push_back("sub");

  std::unique_ptr<FSRefBlock> items;
  uint32_t count = 0;
  uint8_t changed = 7;
  ASSERT_EQ(noErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
  EXPECT_EQ(expected.size(), count);
  EXPECT_EQ(0, changed);
  std::vector<std::string> listed;
  for (const FSRef& item : *items) listed.push_back(NameOf(item));
  EXPECT_THAT(listed, UnorderedElementsAreArray(expected));
}

TEST(ListFolderItems, SizesAroundBatch) {
  for (const uint32_t size : {1U, 9U, 10U, 11U, 20U, 64U, 65U, 257U}) {
    const TemporaryFolder folder;
    for (uint32_t i = 0; i < size; ++i) WriteFile(folder / std::to_string(i));
    std::unique_ptr<FSRefBlock> items;
    uint32_t count = 0;
    uint8_t changed = 0;
    ASSERT_EQ(noErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
    EXPECT_EQ(size, count);
    ASSERT_EQ(size, items->size());
    EXPECT_TRUE(std::all_of(items->begin(), items->end(), FSIsFSRefValid));
  }
}

TEST(ListFolderItems, RejectsNullArguments) {
  const TemporaryFolder folder;
  const FSRef ref = RefAt(folder.path());
  std::unique_ptr<FSRefBlock> items;
  uint32_t count = 7;
  uint8_t changed = 7;
  EXPECT_EQ(paramErr, ListFolderItems(ref, nullptr, &count, &changed));
  EXPECT_EQ(paramErr, ListFolderItems(ref, &items, nullptr, &changed));
  EXPECT_EQ(paramErr, ListFolderItems(ref, &items, &count, nullptr));
  EXPECT_EQ(7U, count);
  EXPECT_EQ(7, changed);
}

TEST(ListFolderItems, ReturnsNoListOnFailure) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink(folder.path(), folder / "link");
  MakeFolder(folder / "gone folder");
  const FSRef goneFolder = RefAt(folder / "gone folder");
  ASSERT_EQ(0, rmdir((folder / "gone folder").c_str()));
  const struct {
    FSRef folder;
    Status status;
  } rows[] = {
      {RefAt(folder / "file"), errFSNotAFolder},
      {RefAt(folder / "link"), errFSNotAFolder},
      {goneFolder, fnfErr},
  };
  for (const auto& row : rows) {
    auto items = std::make_unique<FSRefBlock>();
    uint32_t count = 7;
    uint8_t changed = 7;
    EXPECT_EQ(row.status, ListFolderItems(row.folder, &items, &count, &changed));
    EXPECT_EQ(nullptr, items);
    EXPECT_EQ(0U, count);
    EXPECT_EQ(0, changed);
  }
}

TEST(ListFolderItems, UnreadableFolder) {
  const TemporaryFolder folder;
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
  MakeFolder(folder / "closed");
  ASSERT_EQ(0, chmod((folder / "closed").c_str(), 0));
  const FSRef closed = RefAt(folder / "closed");
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    std::unique_ptr<FSRefBlock> items;
    uint32_t count = 7;
    uint8_t changed = 7;
    EXPECT_EQ(afpAccessDenied, ListFolderItems(closed, &items, &count, &changed));
    EXPECT_EQ(nullptr, items);
  }));
}

TEST(MakeChildRef, FindsExistingObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeFolder(folder / "sub");
  MakeLink("nowhere", folder / "dangling");
  WriteFile(folder / "50:50");
  const FSRef parent = RefAt(folder.path());
  for (const std::u16string name : {u"file", u"sub", u"dangling", u"50/50"}) {
    FSRef child;
    EXPECT_TRUE(MakeChildRef(parent, name, &child));
    EXPECT_EQ(Utf8FromUtf16(name), NameOf(child));
  }
}

TEST(MakeChildRef, FalseForMissingObject) {
  const TemporaryFolder folder;
  FSRef child = RefAt(folder.path());
  EXPECT_FALSE(MakeChildRef(RefAt(folder.path()), u"none", &child));
  EXPECT_TRUE(IsZero(child));
}

TEST(MakeChildRef, TrueForFailedLookup) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const FSRef parent = RefAt(folder.path());
  const std::u16string names[] = {u"", u".", u"..", std::u16string(1, u'\0'),
                                  std::u16string(256, u'x')};
  for (const std::u16string& name : names) {
    FSRef child = parent;
    EXPECT_TRUE(MakeChildRef(parent, name, &child)) << Utf8FromUtf16(name);
    EXPECT_TRUE(IsZero(child)) << Utf8FromUtf16(name);
  }
  FSRef child = parent;
  EXPECT_TRUE(MakeChildRef(RefAt(folder / "file"), u"below", &child));
  EXPECT_TRUE(IsZero(child));
}

// The folder changes before the first read only, and is so large that several reads follow: the
// flag must not be cleared by them.
TEST(ListFolderItems, ReportsChange) {
  constexpr uint32_t kFiles = 10000;
  const TemporaryFolder folder;
  for (uint32_t i = 0; i < kFiles; ++i) WriteFile(folder / std::to_string(i));
  // An old date, so that the change is seen however coarse the timestamps of the filesystem are.
  SetModificationDate(folder.path(), 0);

  int calls = 0;
  gBeforeReading = [&] {
    if (++calls == 1) WriteFile(folder / "new");
  };
  std::unique_ptr<FSRefBlock> items;
  uint32_t count = 0;
  uint8_t changed = 0;
  EXPECT_EQ(noErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
  gBeforeReading = nullptr;
  EXPECT_GE(calls, 4);
  EXPECT_EQ(1, changed);
  ASSERT_NE(nullptr, items);
  EXPECT_EQ(count, items->size());
  EXPECT_GE(count, kFiles);

  EXPECT_EQ(noErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
  EXPECT_EQ(0, changed);
  EXPECT_EQ(kFiles + 1, count);
}

TEST(ListFolderItems, ReturnsNoPartialList) {
  const TemporaryFolder folder;
  for (int i = 0; i < 10000; ++i) WriteFile(folder / std::to_string(i));
  int calls = 0;
  gBeforeReading = [&] {
    if (++calls == 3) gReadingError = EIO;
  };
  auto items = std::make_unique<FSRefBlock>();
  uint32_t count = 7;
  uint8_t changed = 7;
  EXPECT_EQ(ioErr, ListFolderItems(RefAt(folder.path()), &items, &count, &changed));
  gBeforeReading = nullptr;
  gReadingError = 0;
  EXPECT_EQ(3, calls);
  EXPECT_EQ(nullptr, items);
  EXPECT_EQ(0U, count);
}

}  // namespace
}  // namespace tessary::test
