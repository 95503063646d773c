#include "platform/linux/changes/temp_item.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "tests/support/fault_injection/failing_allocations.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

const std::string kStaleName = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";
const std::string kOtherStaleName = ".tessary-11234567-89AB-CDEF-0123-456789ABCDEF";

TEST(MakeTempName, MakesANewOneEveryTime) {
  std::string first;
  std::string second;
  ASSERT_EQ(noErr, MakeTempName(&first));
  ASSERT_EQ(noErr, MakeTempName(&second));
  EXPECT_TRUE(IsTempName(first)) << first;
  EXPECT_NE(first, second);
}

class TempItems : public testing::Test {
 protected:
  void CleanUp() { CleanUpFolder(fd_.get()); }

  TemporaryFolder folder_;
  UniqueFd fd_ = OpenFolder(folder_.path());
};

TEST_F(TempItems, GoWithTheirOwner) {
  {
    TempItem file;
    TempItem folder;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
    ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
    EXPECT_EQ(2U, NamesIn(folder_.path()).size());
    EXPECT_TRUE(IsTempName(file.name()));
    EXPECT_TRUE(IsTempName(folder.name()));
    EXPECT_EQ(0600U, LstatAt(folder_ / file.name()).st_mode & 07777);
    EXPECT_EQ(0700U, LstatAt(folder_ / folder.name()).st_mode & 07777);
    WriteFile(folder_ / (folder.name() + "/a/b"), "x");
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(TempItems, GoFromUnderTheNameThatTheyWerePublishedUnder) {
  {
    TempItem file;
    TempItem folder;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
    ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
    ASSERT_EQ(noErr, file.Publish("file"));
    ASSERT_EQ(noErr, folder.Publish("folder"));
    EXPECT_EQ((std::vector<std::string>{"file", "folder"}), NamesIn(folder_.path()));
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(TempItems, StayWhenKept) {
  {
    TempItem file;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
    ASSERT_EQ(noErr, file.Publish("file"));
    EXPECT_TRUE(file.IsStillNamed());
    file.Keep();
  }
  EXPECT_TRUE(Exists(folder_ / "file"));
}

TEST_F(TempItems, NeverTakeAnotherObjectWithThem) {
  {
    TempItem file;
    TempItem folder;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
    ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
    ASSERT_EQ(noErr, file.Publish("file"));
    ASSERT_EQ(noErr, folder.Publish("folder"));
    ASSERT_EQ(0, unlink((folder_ / "file").c_str()));
    ASSERT_EQ(0, rmdir((folder_ / "folder").c_str()));
    EXPECT_FALSE(file.IsStillNamed());
    WriteFile(folder_ / "file", "another");
    WriteFile(folder_ / "folder/file", "another");
  }
  EXPECT_EQ("another", ReadFile(folder_ / "file"));
  EXPECT_EQ("another", ReadFile(folder_ / "folder/file"));
}

TEST_F(TempItems, AreNotPublishedOverAnything) {
  WriteFile(folder_ / "taken", "old");
  TempItem file;
  TempItem folder;
  ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
  ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
  EXPECT_EQ(dupFNErr, file.Publish("taken"));
  EXPECT_EQ(dupFNErr, folder.Publish("taken"));
  EXPECT_EQ("old", ReadFile(folder_ / "taken"));
}

TEST_F(TempItems, AreNotSweptWhileTheyAreHeld) {
  TempItem file;
  TempItem folder;
  ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
  ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
  CleanUp();
  EXPECT_TRUE(Exists(folder_ / file.name()));
  EXPECT_TRUE(Exists(folder_ / folder.name()));
}

TEST_F(TempItems, TakeAFolderAsideAndGiveItBack) {
  WriteFile(folder_ / "package/file", "x");
  TempItem aside;
  ASSERT_EQ(noErr,
            TempItem::StageForDeletion(
                fd_.get(), "package",
                UniqueFd(open((folder_ / "package").c_str(), O_RDONLY | O_DIRECTORY)), &aside));
  EXPECT_EQ(std::vector<std::string>{aside.name()}, NamesIn(folder_.path()));
  CleanUp();
  EXPECT_EQ("x", ReadFile(folder_ / (aside.name() + "/file")));
  EXPECT_EQ(noErr, aside.Publish("package"));
  EXPECT_EQ("x", ReadFile(folder_ / "package/file"));
}

TEST_F(TempItems, TakeNoOtherFolderAsideThanTheOneMeant) {
  MakeFolder(folder_ / "meant");
  MakeFolder(folder_ / "other");
  TempItem aside;
  const auto open = [&] {
    return UniqueFd(::open((folder_ / "meant").c_str(), O_RDONLY | O_DIRECTORY));
  };
  EXPECT_EQ(fnfErr, TempItem::StageForDeletion(fd_.get(), "other", open(), &aside));
  const UniqueFd locked = open();
  ASSERT_EQ(0, flock(locked.get(), LOCK_EX));
  EXPECT_EQ(fBsyErr, TempItem::StageForDeletion(fd_.get(), "meant", open(), &aside));
  EXPECT_EQ((std::vector<std::string>{"meant", "other"}), NamesIn(folder_.path()));
}

TEST_F(TempItems, OfDeadMakersAreSwept) {
  WriteFile(folder_ / kStaleName, "half");
  WriteFile(folder_ / (kOtherStaleName + "/a/b/c"), "half");
  CleanUp();
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(TempItems, AreSweptWithoutTouchingWhatOnlyLooksLikeThem) {
  const std::vector<std::string> kept = {".tessary-01234567-89ab-cdef-0123-456789abcdef",
                                         ".tessary-notes", "x" + kStaleName, kStaleName + ".txt"};
  for (const std::string& name : kept) WriteFile(folder_ / name, "mine");
  // No object of ours is a link, a FIFO or the like, whatever it is called.
  WriteFile(folder_ / "outside", "mine");
  MakeLink("outside", folder_ / kStaleName);
  ASSERT_EQ(0, mkfifo((folder_ / kOtherStaleName).c_str(), 0600));
  CleanUp();
  for (const std::string& name : kept) EXPECT_EQ("mine", ReadFile(folder_ / name));
  EXPECT_TRUE(Exists(folder_ / kStaleName));
  EXPECT_TRUE(Exists(folder_ / kOtherStaleName));
  EXPECT_EQ("mine", ReadFile(folder_ / "outside"));
}

TEST_F(TempItems, AreSweptWithoutFollowingLinks) {
  const TemporaryFolder outside;
  WriteFile(outside / "kept/file", "mine");
  MakeFolder(folder_ / kStaleName);
  MakeLink(outside / "kept", folder_ / (kStaleName + "/link"));
  MakeLink(outside / "kept/file", folder_ / (kStaleName + "/file link"));
  ASSERT_EQ(0, link((outside / "kept/file").c_str(), (folder_ / (kStaleName + "/hard")).c_str()));
  CleanUp();
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
  EXPECT_EQ("mine", ReadFile(outside / "kept/file"));
}

TEST_F(TempItems, AreSweptFromFoldersClosedToTheirOwner) {
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    WriteFile(folder_ / (kStaleName + "/closed/file"), "half");
    WriteFile(folder_ / (kStaleName + "/read only/file"), "half");
    EXPECT_EQ(0, chmod((folder_ / (kStaleName + "/closed")).c_str(), 0));
    EXPECT_EQ(0, chmod((folder_ / (kStaleName + "/read only")).c_str(), 0555));
    EXPECT_EQ(0, chmod((folder_ / kStaleName).c_str(), 0555));
    CleanUp();
  }));
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(TempItems, ThatCannotBeDeletedAreLeft) {
  if (geteuid() != 0) GTEST_SKIP() << "needs another user's leftover";
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 01777));
  WriteFile(folder_ / (kStaleName + "/file"), "half");
  WriteFile(folder_ / kOtherStaleName, "half");
  EXPECT_TRUE(RunAsOrdinaryUser([&] { CleanUp(); }));
  EXPECT_EQ("half", ReadFile(folder_ / (kStaleName + "/file")));
  EXPECT_EQ("half", ReadFile(folder_ / kOtherStaleName));
}

TEST_F(TempItems, AreSweptOnceInAProcess) {
  WriteFile(folder_ / kStaleName, "half");
  struct statx info = {};
  ASSERT_EQ(noErr, ReadObjectInfo(fd_.get(), "", &info));
  CleanUpFolderOnce(fd_.get(), Identity::Of(info));
  EXPECT_FALSE(Exists(folder_ / kStaleName));
  WriteFile(folder_ / kStaleName, "half");
  CleanUpFolderOnce(fd_.get(), Identity::Of(info));
  EXPECT_TRUE(Exists(folder_ / kStaleName));
}

TEST(DeleteTree, TakesAnyDepthWithFewDescriptors) {
  constexpr int kDepth = 1500;
  const TemporaryFolder folder;
  const std::string name(200, 'd');
  UniqueFd current = OpenFolder(folder.path());
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_EQ(0, mkdirat(current.get(), name.c_str(), 0700));
    UniqueFd next(openat(current.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(next);
    current = std::move(next);
  }
  const UniqueFd top(open((folder / name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const UniqueFd parent = OpenFolder(folder.path());
  bool hasBegun = false;
  EXPECT_EQ(noErr, DeleteTree(parent.get(), name.c_str(), top.get(), &hasBegun));
  EXPECT_TRUE(hasBegun);
  EXPECT_TRUE(NamesIn(folder.path()).empty());
}

TEST_F(TempItems, StayWhereThereIsNoMemoryToRemoveThem) {
  {
    TempItem item;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &item));
    ASSERT_EQ(noErr, item.Publish("published"));
    FailAllocations(1, 1'000);
  }
  FailAllocations(0, 0);
  EXPECT_EQ(std::vector<std::string>{"published"}, NamesIn(folder_.path()));
}

}  // namespace
}  // namespace tessary::test
