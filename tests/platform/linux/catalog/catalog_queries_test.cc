#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

bool IsAllZero(const FSRef& ref) {
  const FSRef none;
  return std::memcmp(&ref, &none, sizeof(ref)) == 0;
}

std::string PathOfRef(const FSRef& ref) {
  char buffer[4096];
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer, sizeof(buffer)));
  return buffer;
}

TEST(FSGetCatalogInfo, ReadsEveryField) {
  const TemporaryFolder folder;
  WriteFile(folder / "a:b.txt");
  if (!SetFinderInfo(folder / "a:b.txt", "TEXT", 0x4001)) GTEST_SKIP() << "no attributes here";
  FSCatalogInfo info;
  std::u16string name;
  FSRef parent;
  ASSERT_EQ(noErr, FSGetCatalogInfo(RefAt(folder / "a:b.txt"),
                                    kFSCatInfoNodeFlags | kFSCatInfoNodeID | kFSCatInfoFinderInfo,
                                    &info, &name, nullptr, &parent));
  EXPECT_EQ(0, info.nodeFlags & kFSNodeIsDirectoryMask);
  EXPECT_NE(kFSRootNodeID, info.nodeID);
  EXPECT_EQ(0x54455854U, info.finderInfo.fileType);
  EXPECT_EQ(0x4001, info.finderInfo.finderFlags);
  EXPECT_EQ(u"a/b.txt", name);
  EXPECT_EQ(noErr, FSCompareFSRefs(parent, RefAt(folder.path())));
}

TEST(FSGetCatalogInfo, LeavesOtherFieldsUnchanged) {
  const TemporaryFolder folder;
  FSCatalogInfo info;
  info.nodeID = 77;
  info.finderInfo.fileType = 78;
  ASSERT_EQ(noErr, FSGetCatalogInfo(RefAt(folder.path()), kFSCatInfoNodeFlags, &info, nullptr,
                                    nullptr, nullptr));
  EXPECT_EQ(kFSNodeIsDirectoryMask, info.nodeFlags);
  EXPECT_EQ(77U, info.nodeID);
  EXPECT_EQ(78U, info.finderInfo.fileType);
}

TEST(FSGetCatalogInfo, RefusesFieldsWithoutInfo) {
  const TemporaryFolder folder;
  EXPECT_EQ(paramErr, FSGetCatalogInfo(RefAt(folder.path()), kFSCatInfoNodeID, nullptr, nullptr,
                                       nullptr, nullptr));
  EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(folder.path()), kFSCatInfoNone, nullptr, nullptr, nullptr,
                                    nullptr));
}

TEST(FSGetCatalogInfo, NoFinderInfoForLinkOrBadSize) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink("file", folder / "link");
  if (!SetAttribute(folder / "file", "user.com.apple.FinderInfo", "TEXT")) {
    GTEST_SKIP() << "no attributes here";
  }
  for (const char* name : {"file", "link"}) {
    FSCatalogInfo info;
    info.finderInfo.fileType = 1;
    ASSERT_EQ(noErr, FSGetCatalogInfo(RefAt(folder / name), kFSCatInfoFinderInfo, &info, nullptr,
                                      nullptr, nullptr));
    EXPECT_EQ(0U, info.finderInfo.fileType) << name;
  }
}

TEST(FSGetCatalogInfo, FinderInfoAmongManyAttributes) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  for (int i = 0; i < 60; ++i) {
    if (!SetAttribute(folder / "file", "user.some-rather-long-name-" + std::to_string(i), "")) {
      if (i < 40) GTEST_SKIP() << "no room for many attributes here";
      break;
    }
  }
  if (!SetFinderInfo(folder / "file", "8BPS", 0)) GTEST_SKIP() << "no room for one more";
  FSCatalogInfo info;
  ASSERT_EQ(noErr, FSGetCatalogInfo(RefAt(folder / "file"), kFSCatInfoFinderInfo, &info, nullptr,
                                    nullptr, nullptr));
  EXPECT_EQ(0x38425053U, info.finderInfo.fileType);
}

TEST(FSGetCatalogInfo, RootNodeIdForMountPoints) {
  FSCatalogInfo info;
  for (const char* root : {"/", "/proc"}) {
    ASSERT_EQ(noErr,
              FSGetCatalogInfo(RefAt(root), kFSCatInfoNodeID, &info, nullptr, nullptr, nullptr));
    EXPECT_EQ(kFSRootNodeID, info.nodeID) << root;
  }
}

TEST(FSGetCatalogInfo, OtherNodeIdForInodeTwo) {
  const TemporaryFolder folder;
  if (mount("none", folder.path().c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "cannot mount a tmpfs here: " << strerror(errno);
  }
  WriteFile(folder / "first");
  struct stat file = {};
  EXPECT_EQ(0, stat((folder / "first").c_str(), &file));
  EXPECT_EQ(2U, file.st_ino);
  FSCatalogInfo info;
  EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(folder / "first"), kFSCatInfoNodeID, &info, nullptr,
                                    nullptr, nullptr));
  EXPECT_NE(kFSRootNodeID, info.nodeID);
  EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(folder.path()), kFSCatInfoNodeID, &info, nullptr, nullptr,
                                    nullptr));
  EXPECT_EQ(kFSRootNodeID, info.nodeID);
  EXPECT_EQ(0, umount2(folder.path().c_str(), MNT_DETACH));
}

TEST(FSGetCatalogInfo, ParentOfRootIsAllZero) {
  FSRef parent = RefAt("/");
  ASSERT_EQ(noErr,
            FSGetCatalogInfo(RefAt("/"), kFSCatInfoNone, nullptr, nullptr, nullptr, &parent));
  EXPECT_TRUE(IsAllZero(parent));
}

TEST(FSGetCatalogInfo, FailsWithoutObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "gone");
  const FSRef gone = RefAt(folder / "gone");
  unlink((folder / "gone").c_str());
  std::u16string name = u"untouched";
  EXPECT_EQ(fnfErr, FSGetCatalogInfo(gone, kFSCatInfoNone, nullptr, &name, nullptr, nullptr));
  EXPECT_EQ(paramErr, FSGetCatalogInfo(FSRef{}, kFSCatInfoNone, nullptr, &name, nullptr, nullptr));
  EXPECT_EQ(u"untouched", name);
}

TEST(FSIsFSRefValid, FalseForReplacedObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "old");
  WriteFile(folder / "other", "new");
  const FSRef ref = RefAt(folder / "file");
  EXPECT_TRUE(FSIsFSRefValid(ref));
  std::filesystem::rename(folder / "other", folder / "file");
  EXPECT_FALSE(FSIsFSRefValid(ref));
  EXPECT_FALSE(FSIsFSRefValid(FSRef{}));
}

TEST(FSIsFSRefValid, FolderReplacedByLink) {
  const TemporaryFolder folder;
  WriteFile(folder / "real/file");
  WriteFile(folder / "elsewhere/file");
  const FSRef ref = RefAt(folder / "real/file");
  const FSRef real = RefAt(folder / "real");
  std::filesystem::rename(folder / "real", folder / "away");
  MakeLink("elsewhere", folder / "real");
  EXPECT_FALSE(FSIsFSRefValid(real));
  // The renamed folder is still open, so the item is found in it, and not in the link's target.
  EXPECT_EQ(noErr, FSDeleteObject(ref));
  EXPECT_FALSE(Exists(folder / "away/file"));
  EXPECT_TRUE(Exists(folder / "elsewhere/file"));
}

TEST(FSCompareFSRefs, ComparesIdentities) {
  const TemporaryFolder folder;
  WriteFile(folder / "one");
  WriteFile(folder / "two");
  std::filesystem::create_hard_link(folder / "one", folder / "link");
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "one"), RefAt(folder / "one")));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "one"), RefAt(folder / "link")));
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(RefAt(folder / "one"), RefAt(folder / "two")));
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(RefAt(folder / "one"), RefAt(folder.path())));
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(FSRef{}, FSRef{}));
}

TEST(FSMakeFSRefUnicode, FindsEveryName) {
  const TemporaryFolder folder;
  const std::vector<std::string> names = {
      "file", "\xff\xfe.txt", "new\nline",           ".hidden",
      "a..b", "colon:name",   std::string(255, 'n'), "dangling"};
  for (const std::string& name : names) {
    if (name == "dangling") {
      MakeLink("nowhere", folder / name);
    } else {
      WriteFile(folder / name);
    }
    std::u16string catalogName;
    ASSERT_EQ(noErr, FSGetCatalogInfo(RefAt(folder / name), kFSCatInfoNone, nullptr, &catalogName,
                                      nullptr, nullptr));
    FSRef child;
    EXPECT_EQ(noErr, FSMakeFSRefUnicode(RefAt(folder.path()), catalogName, &child)) << name;
    EXPECT_EQ(folder / name, PathOfRef(child));
  }
}

TEST(FSMakeFSRefUnicode, FailureGivesAllZeroReference) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const FSRef parent = RefAt(folder.path());
  const std::vector<std::pair<std::u16string, Status>> rows = {
      {u"absent", fnfErr},
      {u"", bdNamErr},
      {u".", bdNamErr},
      {u"..", bdNamErr},
      {std::u16string(u"a\0b", 3), bdNamErr},
      {std::u16string(256, u'n'), bdNamErr},
      {std::u16string(200, u'é'), bdNamErr}};
  for (const auto& [name, expected] : rows) {
    FSRef child = parent;
    EXPECT_EQ(expected, FSMakeFSRefUnicode(parent, name, &child));
    EXPECT_TRUE(IsAllZero(child));
  }
  FSRef child = parent;
  EXPECT_EQ(errFSNotAFolder, FSMakeFSRefUnicode(RefAt(folder / "file"), u"x", &child));
  EXPECT_TRUE(IsAllZero(child));
  EXPECT_EQ(paramErr, FSMakeFSRefUnicode(FSRef{}, u"x", &child));
  EXPECT_EQ(paramErr, FSMakeFSRefUnicode(parent, u"x", nullptr));
}

TEST(FSMakeFSRefUnicode, RefusesLinkAsParent) {
  const TemporaryFolder folder;
  WriteFile(folder / "real/file");
  MakeLink("real", folder / "link");
  FSRef child;
  EXPECT_EQ(errFSNotAFolder, FSMakeFSRefUnicode(RefAt(folder / "link"), u"file", &child));
}

TEST(NSAutoreleasePool, InvalidatesItsReferences) {
  const TemporaryFolder folder;
  const std::string longName(200, 'l');
  WriteFile(folder / ("deep/" + longName));
  const FSRef root = RefAt(folder.path());
  FSRef within;
  {
    const NSAutoreleasePool pool;
    within = RefAt(folder / ("deep/" + longName));
    EXPECT_TRUE(FSIsFSRefValid(within));
    EXPECT_EQ(folder / ("deep/" + longName), PathOfRef(within));
  }
  EXPECT_FALSE(FSIsFSRefValid(within));
  EXPECT_TRUE(FSIsFSRefValid(root));
  EXPECT_TRUE(FSIsFSRefValid(RefAt(folder / ("deep/" + longName))));
}

TEST(FSStatCacheScope, CachesUntilItEnds) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt");
  const FSRef item = RefAt(folder / "a.txt");
  {
    const FSStatCacheScope scope;
    EXPECT_TRUE(FSIsFSRefValid(item));
    ASSERT_EQ(0, rename((folder / "a.txt").c_str(), (folder / "b.txt").c_str()));
    EXPECT_TRUE(FSIsFSRefValid(item));
    EXPECT_EQ(folder / "a.txt", PathOfRef(item));
    EXPECT_EQ(noErr, FSCompareFSRefs(item, RefAt(folder / "a.txt")));
  }
  EXPECT_FALSE(FSIsFSRefValid(item));
}

TEST(FSStatCacheScope, ChangesRestatTheObject) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  for (const char* name : {"moved.txt", "deleted.txt"}) WriteFile(folder / name, "listed");
  const FSRef moved = RefAt(folder / "moved.txt");
  const FSRef deleted = RefAt(folder / "deleted.txt");
  const FSRef to = RefAt(folder / "to");
  const FSStatCacheScope scope;
  EXPECT_TRUE(FSIsFSRefValid(moved));
  EXPECT_TRUE(FSIsFSRefValid(deleted));
  for (const char* name : {"moved.txt", "deleted.txt"}) {
    WriteFile(folder / "other", "another");
    ASSERT_EQ(0, rename((folder / "other").c_str(), (folder / name).c_str()));
  }
  FSRef target;
  EXPECT_EQ(fnfErr, FSMoveObjectSync(moved, to, nullptr, &target));
  EXPECT_EQ(fnfErr, FSCopyObjectSync(moved, to, nullptr, &target));
  EXPECT_EQ(fnfErr, FSDeleteObject(deleted));
  EXPECT_EQ("another", ReadFile(folder / "moved.txt"));
  EXPECT_EQ("another", ReadFile(folder / "deleted.txt"));
}

TEST(FSStatCacheScope, FastMoveTrustsCachedStat) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  WriteFile(folder / "item.txt", "listed");
  const FSRef item = RefAt(folder / "item.txt");
  const FSRef to = RefAt(folder / "to");
  const FSStatCacheScope scope;
  EXPECT_TRUE(FSIsFSRefValid(item));
  WriteFile(folder / "other", "another");
  ASSERT_EQ(0, rename((folder / "other").c_str(), (folder / "item.txt").c_str()));
  FSRef target;
  EXPECT_EQ(noErr, FSTryFastMove(item, to, &target));
  EXPECT_EQ("another", ReadFile(folder / "to/item.txt"));
  EXPECT_FALSE(FSIsFSRefValid(item));
}

TEST(FSStatCacheScope, DistinguishesReplacedObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "item.txt", "listed");
  const FSRef former = RefAt(folder / "item.txt");
  WriteFile(folder / "other", "another");
  ASSERT_EQ(0, rename((folder / "other").c_str(), (folder / "item.txt").c_str()));
  const FSStatCacheScope scope;
  const FSRef latter = RefAt(folder / "item.txt");
  EXPECT_FALSE(FSIsFSRefValid(former));
  EXPECT_TRUE(FSIsFSRefValid(latter));
}

TEST(FSStatCacheScope, ForgetsChangedObjects) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  WriteFile(folder / "a.txt");
  WriteFile(folder / "to/b.txt");
  const FSRef item = RefAt(folder / "a.txt");
  const FSRef to = RefAt(folder / "to");
  const FSStatCacheScope scope;
  FSRef existing;
  EXPECT_EQ(noErr, FSMakeFSRefUnicode(to, u"b.txt", &existing));
  EXPECT_EQ(noErr, FSDeleteObject(existing));
  EXPECT_EQ(fnfErr, FSMakeFSRefUnicode(to, u"b.txt", &existing));
  EXPECT_TRUE(FSIsFSRefValid(item));
  FSRef target;
  EXPECT_EQ(noErr, FSMoveObjectSync(item, to, nullptr, &target));
  EXPECT_FALSE(FSIsFSRefValid(item));
  EXPECT_TRUE(FSIsFSRefValid(target));
  EXPECT_EQ(folder / "to/a.txt", PathOfRef(target));
}

TEST(FSStatCacheScope, InnerScopeEmptiesCache) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt");
  const FSRef item = RefAt(folder / "a.txt");
  const FSStatCacheScope scope;
  EXPECT_TRUE(FSIsFSRefValid(item));
  { const FSStatCacheScope inner; }
  ASSERT_EQ(0, unlink((folder / "a.txt").c_str()));
  EXPECT_FALSE(FSIsFSRefValid(item));
}

TEST(FSMayBeFolder, FalseForFilesAndLinks) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink(".", folder / "link");
  MakeFolder(folder / "sub");
  EXPECT_FALSE(FSMayBeFolder(RefAt(folder / "file")));
  EXPECT_FALSE(FSMayBeFolder(RefAt(folder / "link")));
  EXPECT_TRUE(FSMayBeFolder(RefAt(folder / "sub")));
}

}  // namespace
}  // namespace tessary::test
