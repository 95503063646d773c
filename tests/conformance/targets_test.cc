// Existing objects at the target are never written, removed or followed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/catalog/reference.h"
#include "tests/conformance/conformance_fixture.h"
#include "tests/conformance/watched_folder.h"
#include "tests/support/file_operations.h"

namespace tessary::test {
namespace {

using testing::IsEmpty;

TEST_P(Conformance, ExistingTargetUntouched) {
  WriteFile(From("item.txt"), "new");
  WriteFile(To("item.txt"), "old");
  ExpectTransferError("item.txt", dupFNErr);
  EXPECT_EQ("old", ReadFile(To("item.txt")));
}

TEST_P(Conformance, ExistingTargetOfNewNameUntouched) {
  WriteFile(From("item.txt"), "new");
  WriteFile(To("existing.txt"), "old");
  ExpectTransferError("item.txt", dupFNErr, "existing.txt");
}

TEST_P(Conformance, ExistingSpecialFileUntouched) {
  if (!Traits().hasSpecialFiles) GTEST_SKIP() << "no special files on this filesystem";
  WriteFile(From("item"), "new");
  ASSERT_EQ(0, mkfifo(To("item").c_str(), 0600));
  ExpectTransferError("item", dupFNErr);
}

TEST_P(Conformance, ExistingTargetNeverUnlinked) {
  WriteFile(From("item.txt"), "new");
  WriteFile(To("item.txt"), "old");
  SealTestData();
  const WatchedFolder watched(ToFolder());
  if (!watched.IsWatched()) GTEST_SKIP() << "no inotify on this filesystem";
  EXPECT_EQ(dupFNErr, Transfer("item.txt"));
  EXPECT_THAT(watched.ChangesOf("item.txt"), IsEmpty());
}

TEST_P(Conformance, FileOverFolderRefused) {
  WriteFile(From("item"), "file");
  MakeFolder(To("item"));
  ExpectTransferError("item", dupFNErr);
}

TEST_P(Conformance, FolderOverFileRefused) {
  WriteFile(From("item/inner"), "file");
  WriteFile(To("item"), "old");
  ExpectTransferError("item", dupFNErr);
}

TEST_P(Conformance, FolderOverEmptyFolderRefused) {
  WriteFile(From("item/inner"), "file");
  MakeFolder(To("item"));
  ExpectTransferError("item", dupFNErr);
}

TEST_P(Conformance, FolderOverNonEmptyFolderRefused) {
  WriteFile(From("item/inner"), "new");
  WriteFile(To("item/inner"), "old");
  WriteFile(To("item/other"), "old");
  ExpectTransferError("item", dupFNErr);
}

TEST_P(SymlinkConformance, LinkAtTargetNotFollowed) {
  WriteFile(From("item"), "new");
  WriteFile(From("folder/inner"), "new");
  WriteFile(To("victim"), "precious");
  MakeFolder(To("victims"));
  MakeLink("victim", To("item"));
  MakeLink("victims", To("folder"));
  ExpectTransferError("item", dupFNErr);
  ExpectTransferError("folder", dupFNErr);
}

TEST_P(SymlinkConformance, DanglingLinkAtTargetNotFollowed) {
  WriteFile(From("item"), "new");
  MakeLink("nowhere", To("item"));
  ExpectTransferError("item", dupFNErr);
  EXPECT_FALSE(Exists(To("nowhere")));
}

TEST_P(Conformance, SameSourceTwice) {
  WriteFile(From("item"), "contents");
  ASSERT_EQ(noErr, Transfer("item"));
  const std::vector<std::string> after = DescribeBothFolders();
  EXPECT_EQ(IsMove() ? fnfErr : dupFNErr, Transfer("item"));
  EXPECT_EQ(after, DescribeBothFolders());
}

TEST_P(Conformance, TransferredItemNotOverwritten) {
  WriteFile(From("one/item"), "first");
  WriteFile(From("two/item"), "second");
  ASSERT_EQ(noErr, TransferTo(From("one/item"), ToFolder()));
  EXPECT_EQ(dupFNErr, TransferTo(From("two/item"), ToFolder()));
  EXPECT_EQ("first", ReadFile(To("item")));
  EXPECT_EQ("second", ReadFile(From("two/item")));
}

TEST_P(Conformance, IntoSameFolderRefused) {
  WriteFile(From("item"), "contents");
  WriteFile(From("folder/inner"), "contents");
  const std::vector<std::string> before = DescribeBothFolders();
  EXPECT_EQ(dupFNErr, TransferTo(From("item"), FromFolder()));
  EXPECT_EQ(dupFNErr, TransferTo(From("folder"), FromFolder()));
  EXPECT_EQ(before, DescribeBothFolders());
}

TEST_P(Conformance, FolderIntoItselfRefused) {
  WriteFile(From("folder/inner/file"), "contents");
  const std::vector<std::string> before = DescribeBothFolders();
  for (const std::string target : {"folder", "folder/inner"}) {
    EXPECT_EQ(badMovErr, TransferTo(From("folder"), From(target))) << target;
    EXPECT_EQ(badMovErr, TransferTo(From("folder"), From(target), "other")) << target;
  }
  EXPECT_EQ(before, DescribeBothFolders());
}

TEST_P(AnyTargetLinkConformance, FolderIntoItselfByLinkRefused) {
  WriteFile(From("folder/inner/file"), "contents");
  MakeLink(From("folder"), From("link"));
  MakeLink("../..", From("folder/inner/up"));
  const std::vector<std::string> before = DescribeBothFolders();
  for (const std::string target : {"link/inner", "link/inner/up/folder/inner"}) {
    EXPECT_EQ(badMovErr, TransferTo(From("folder"), From(target), "other")) << target;
  }
  EXPECT_EQ(before, DescribeBothFolders());
}

TEST_P(Conformance, FolderIntoItselfByBindMountRefused) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  WriteFile(From("folder/inner/file"), "contents");
  MakeFolder(To("bound"));
  SealTestData();
  const std::string bound = To("bound");
  ASSERT_EQ(0, mount(From("folder").c_str(), bound.c_str(), nullptr, MS_BIND, nullptr));
  const std::vector<std::string> before = TreeLines(FromFolder(), UntouchedAspects());
  EXPECT_EQ(badMovErr, TransferTo(From("folder"), bound + "/inner", "other"));
  EXPECT_EQ(badMovErr, TransferTo(From("folder"), bound, "other"));
  EXPECT_EQ(before, TreeLines(FromFolder(), UntouchedAspects()));
  EXPECT_EQ(0, umount2(bound.c_str(), MNT_DETACH));
}

TEST_P(Conformance, PackageWithMountPointRefused) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  if (IsRename()) GTEST_SKIP() << "a rename moves mount points, too";
  WriteFile(From("Tool.app/file"), "contents");
  MakeFolder(From("Tool.app/mounted"));
  SealTestData();
  const std::string mounted = From("Tool.app/mounted");
  ASSERT_EQ(0, mount("tmpfs", mounted.c_str(), "tmpfs", 0, "size=64k"));
  WriteFile(mounted + "/precious", "precious");
  ExpectTransferError("Tool.app", diffVolErr);
  EXPECT_EQ("precious", ReadFile(mounted + "/precious"));
  EXPECT_EQ(0, umount2(mounted.c_str(), MNT_DETACH));
}

TEST_P(HardLinkConformance, HardLinkToSourceAtTargetRefused) {
  if (IsAcross()) GTEST_SKIP() << "no hard links between filesystems";
  WriteFile(From("item"), "contents");
  ASSERT_EQ(0, link(From("item").c_str(), To("item").c_str()));
  ExpectTransferError("item", dupFNErr);
}

TEST_P(HardLinkConformance, TwoHardLinksOfOneFile) {
  WriteFile(From("one"), "contents");
  ASSERT_EQ(0, link(From("one").c_str(), From("two").c_str()));
  ASSERT_EQ(noErr, Transfer("one"));
  ASSERT_EQ(noErr, Transfer("two"));
  for (const std::string name : {"one", "two"}) {
    EXPECT_EQ("contents", ReadFile(To(name)));
    EXPECT_EQ(IsCopy(), Exists(From(name))) << name;
  }
  // A rename preserves hard links between items, except in an overlay, which copies each file that
  // is in its lower layer. A copy makes independent files.
  const bool isOneFile = LstatAt(To("one")).st_ino == LstatAt(To("two")).st_ino;
  EXPECT_EQ(IsRename() && !IsSourceInLowerLayer(), isOneFile);
}

TEST_P(SymlinkConformance, TargetFolderReplacedByLink) {
  WriteFile(From("item"), "contents");
  MakeFolder(To("elsewhere"));
  SealTestData();
  // Made only now, as an overlay cannot rename a folder of its lower layer.
  MakeFolder(To("key"));
  const FSRef item = RefAt(From("item"));
  const FSRef key = RefAt(To("key"));
  ASSERT_EQ(0, rename(To("key").c_str(), To("old").c_str()));
  MakeLink("elsewhere", To("key"));
  const Status status = TransferRef(item, key);
  EXPECT_THAT(NamesIn(To("elsewhere")), IsEmpty());
  // The transfer may succeed into the renamed folder, by a descriptor that is still open.
  EXPECT_EQ(status == noErr, Exists(To("old/item")));
  EXPECT_TRUE(Exists(From("item")) || Exists(To("old/item")));
}

TEST_P(Conformance, ReplacedSourceNotTransferred) {
  WriteFile(From("item"), "original");
  SealTestData();
  const FSRef item = RefAt(From("item"));
  ASSERT_EQ(0, rename(From("item").c_str(), From("old").c_str()));
  WriteFile(From("item"), "another");
  const std::vector<std::string> before = DescribeBothFolders();
  const Status status = TransferRef(item, RefAt(ToFolder()));
  const Reference& reference = ReferenceOf(item);
  if (HasUnstableInodes(reference.device) && reference.birth == 0) {
    // The name identifies the item: what has it now is transferred whole, and nothing else.
    EXPECT_EQ(noErr, status);
    EXPECT_EQ("original", ReadFile(From("old")));
    EXPECT_EQ("another", ReadFile(To("item")));
    return;
  }
  EXPECT_EQ(fnfErr, status);
  EXPECT_EQ(before, DescribeBothFolders());
}

}  // namespace
}  // namespace tessary::test
