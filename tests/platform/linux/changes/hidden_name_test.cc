#include "platform/linux/changes/hidden_name.h"

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
#include "platform/linux/changes/sweep.h"
#include "tests/support/copying.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/refused_memory.h"
#include "tests/support/temporary_folder.h"

namespace tessary {
namespace {

using testing::Exists;
using testing::MakeFolder;
using testing::MakeLink;
using testing::NamesIn;
using testing::OpenFolder;
using testing::ReadFile;
using testing::RunAsOrdinaryUser;
using testing::TemporaryFolder;
using testing::WriteFile;

const std::string kLeftover = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";
const std::string kOtherLeftover = ".tessary-11234567-89AB-CDEF-0123-456789ABCDEF";

TEST(MakeHiddenName, MakesANewOneEveryTime) {
  std::string first;
  std::string second;
  ASSERT_EQ(noErr, MakeHiddenName(&first));
  ASSERT_EQ(noErr, MakeHiddenName(&second));
  EXPECT_TRUE(IsHiddenName(first)) << first;
  EXPECT_NE(first, second);
}

class HiddenItems : public ::testing::Test {
 protected:
  void Sweep() { SweepFolder(fd_.get()); }

  TemporaryFolder folder_;
  UniqueFd fd_ = OpenFolder(folder_.path());
};

TEST_F(HiddenItems, GoWithTheirOwner) {
  {
    HiddenItem file;
    HiddenItem folder;
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFolder(fd_.get(), &folder));
    EXPECT_EQ(2U, NamesIn(folder_.path()).size());
    EXPECT_TRUE(IsHiddenName(file.name()));
    EXPECT_TRUE(IsHiddenName(folder.name()));
    EXPECT_EQ(0600U, testing::InfoAt(folder_ / file.name()).st_mode & 07777);
    EXPECT_EQ(0700U, testing::InfoAt(folder_ / folder.name()).st_mode & 07777);
    WriteFile(folder_ / (folder.name() + "/a/b"), "x");
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(HiddenItems, GoFromUnderTheNameThatTheyWerePublishedUnder) {
  {
    HiddenItem file;
    HiddenItem folder;
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFolder(fd_.get(), &folder));
    ASSERT_EQ(noErr, file.Publish("file"));
    ASSERT_EQ(noErr, folder.Publish("folder"));
    EXPECT_EQ((std::vector<std::string>{"file", "folder"}), NamesIn(folder_.path()));
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(HiddenItems, StayWhenKept) {
  {
    HiddenItem file;
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
    ASSERT_EQ(noErr, file.Publish("file"));
    EXPECT_TRUE(file.IsStillNamed());
    file.Keep();
  }
  EXPECT_TRUE(Exists(folder_ / "file"));
}

TEST_F(HiddenItems, NeverTakeAnotherObjectWithThem) {
  {
    HiddenItem file;
    HiddenItem folder;
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFolder(fd_.get(), &folder));
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

TEST_F(HiddenItems, AreNotPublishedOverAnything) {
  WriteFile(folder_ / "taken", "old");
  HiddenItem file;
  HiddenItem folder;
  ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
  ASSERT_EQ(noErr, HiddenItem::MakeHiddenFolder(fd_.get(), &folder));
  EXPECT_EQ(dupFNErr, file.Publish("taken"));
  EXPECT_EQ(dupFNErr, folder.Publish("taken"));
  EXPECT_EQ("old", ReadFile(folder_ / "taken"));
}

TEST_F(HiddenItems, AreNotSweptWhileTheyAreHeld) {
  HiddenItem file;
  HiddenItem folder;
  ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &file));
  ASSERT_EQ(noErr, HiddenItem::MakeHiddenFolder(fd_.get(), &folder));
  Sweep();
  EXPECT_TRUE(Exists(folder_ / file.name()));
  EXPECT_TRUE(Exists(folder_ / folder.name()));
}

TEST_F(HiddenItems, TakeAFolderAsideAndGiveItBack) {
  WriteFile(folder_ / "package/file", "x");
  HiddenItem aside;
  ASSERT_EQ(noErr,
            HiddenItem::TakeAside(
                fd_.get(), "package",
                UniqueFd(open((folder_ / "package").c_str(), O_RDONLY | O_DIRECTORY)), &aside));
  EXPECT_EQ(std::vector<std::string>{aside.name()}, NamesIn(folder_.path()));
  Sweep();
  EXPECT_EQ("x", ReadFile(folder_ / (aside.name() + "/file")));
  EXPECT_EQ(noErr, aside.Publish("package"));
  EXPECT_EQ("x", ReadFile(folder_ / "package/file"));
}

TEST_F(HiddenItems, TakeNoOtherFolderAsideThanTheOneMeant) {
  MakeFolder(folder_ / "meant");
  MakeFolder(folder_ / "other");
  HiddenItem aside;
  const auto open = [&] {
    return UniqueFd(::open((folder_ / "meant").c_str(), O_RDONLY | O_DIRECTORY));
  };
  EXPECT_EQ(fnfErr, HiddenItem::TakeAside(fd_.get(), "other", open(), &aside));
  const UniqueFd locked = open();
  ASSERT_EQ(0, flock(locked.get(), LOCK_EX));
  EXPECT_EQ(fBsyErr, HiddenItem::TakeAside(fd_.get(), "meant", open(), &aside));
  EXPECT_EQ((std::vector<std::string>{"meant", "other"}), NamesIn(folder_.path()));
}

TEST_F(HiddenItems, OfDeadMakersAreSwept) {
  WriteFile(folder_ / kLeftover, "half");
  WriteFile(folder_ / (kOtherLeftover + "/a/b/c"), "half");
  Sweep();
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(HiddenItems, AreSweptWithoutTouchingWhatOnlyLooksLikeThem) {
  const std::vector<std::string> kept = {".tessary-01234567-89ab-cdef-0123-456789abcdef",
                                         ".tessary-notes", "x" + kLeftover, kLeftover + ".txt"};
  for (const std::string& name : kept) WriteFile(folder_ / name, "mine");
  // No object of ours is a link, a FIFO or the like, whatever it is called.
  WriteFile(folder_ / "outside", "mine");
  MakeLink("outside", folder_ / kLeftover);
  ASSERT_EQ(0, mkfifo((folder_ / kOtherLeftover).c_str(), 0600));
  Sweep();
  for (const std::string& name : kept) EXPECT_EQ("mine", ReadFile(folder_ / name));
  EXPECT_TRUE(Exists(folder_ / kLeftover));
  EXPECT_TRUE(Exists(folder_ / kOtherLeftover));
  EXPECT_EQ("mine", ReadFile(folder_ / "outside"));
}

TEST_F(HiddenItems, AreSweptWithoutFollowingLinks) {
  const TemporaryFolder outside;
  WriteFile(outside / "kept/file", "mine");
  MakeFolder(folder_ / kLeftover);
  MakeLink(outside / "kept", folder_ / (kLeftover + "/link"));
  MakeLink(outside / "kept/file", folder_ / (kLeftover + "/file link"));
  ASSERT_EQ(0, link((outside / "kept/file").c_str(), (folder_ / (kLeftover + "/hard")).c_str()));
  Sweep();
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
  EXPECT_EQ("mine", ReadFile(outside / "kept/file"));
}

TEST_F(HiddenItems, AreSweptFromFoldersClosedToTheirOwner) {
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    WriteFile(folder_ / (kLeftover + "/closed/file"), "half");
    WriteFile(folder_ / (kLeftover + "/read only/file"), "half");
    EXPECT_EQ(0, chmod((folder_ / (kLeftover + "/closed")).c_str(), 0));
    EXPECT_EQ(0, chmod((folder_ / (kLeftover + "/read only")).c_str(), 0555));
    EXPECT_EQ(0, chmod((folder_ / kLeftover).c_str(), 0555));
    Sweep();
  }));
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(HiddenItems, ThatCannotBeDeletedAreLeft) {
  if (geteuid() != 0) GTEST_SKIP() << "needs another user's leftover";
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 01777));
  WriteFile(folder_ / (kLeftover + "/file"), "half");
  WriteFile(folder_ / kOtherLeftover, "half");
  EXPECT_TRUE(RunAsOrdinaryUser([&] { Sweep(); }));
  EXPECT_EQ("half", ReadFile(folder_ / (kLeftover + "/file")));
  EXPECT_EQ("half", ReadFile(folder_ / kOtherLeftover));
}

TEST_F(HiddenItems, AreSweptOnceInAProcess) {
  WriteFile(folder_ / kLeftover, "half");
  struct statx info = {};
  ASSERT_EQ(noErr, ReadObjectInfo(fd_.get(), "", &info));
  SweepFolderOnce(fd_.get(), Identity::Of(info));
  EXPECT_FALSE(Exists(folder_ / kLeftover));
  WriteFile(folder_ / kLeftover, "half");
  SweepFolderOnce(fd_.get(), Identity::Of(info));
  EXPECT_TRUE(Exists(folder_ / kLeftover));
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

TEST_F(HiddenItems, StayWhereThereIsNoMemoryToRemoveThem) {
  {
    HiddenItem item;
    ASSERT_EQ(noErr, HiddenItem::MakeHiddenFile(fd_.get(), &item));
    ASSERT_EQ(noErr, item.Publish("published"));
    testing::RefuseAllocations(1, 1'000);
  }
  testing::RefuseAllocations(0, 0);
  EXPECT_EQ(std::vector<std::string>{"published"}, NamesIn(folder_.path()));
}

}  // namespace
}  // namespace tessary
