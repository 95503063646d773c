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
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

TEST(MakeTempName, NeverRepeats) {
  std::string first;
  std::string second;
  ASSERT_EQ(noErr, MakeTempName(&first));
  ASSERT_EQ(noErr, MakeTempName(&second));
  EXPECT_TRUE(IsTempName(first)) << first;
  EXPECT_NE(first, second);
}

class TempItemTest : public testing::Test {
 protected:
  TemporaryFolder folder_;
  UniqueFd fd_ = OpenFolder(folder_.path());
};

TEST_F(TempItemTest, IsRemovedWithOwner) {
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

TEST_F(TempItemTest, IsRemovedAfterPublishing) {
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

TEST_F(TempItemTest, StaysIfKept) {
  {
    TempItem file;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
    ASSERT_EQ(noErr, file.Publish("file"));
    EXPECT_TRUE(file.IsStillNamed());
    file.Keep();
  }
  EXPECT_TRUE(Exists(folder_ / "file"));
}

TEST_F(TempItemTest, RemovesNoOtherObject) {
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

TEST_F(TempItemTest, PublishReplacesNothing) {
  WriteFile(folder_ / "existing", "old");
  TempItem file;
  TempItem folder;
  ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
  ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
  EXPECT_EQ(dupFNErr, file.Publish("existing"));
  EXPECT_EQ(dupFNErr, folder.Publish("existing"));
  EXPECT_EQ("old", ReadFile(folder_ / "existing"));
}

TEST_F(TempItemTest, StagesFolderAndRestoresIt) {
  WriteFile(folder_ / "package/file", "x");
  TempItem staged;
  ASSERT_EQ(noErr,
            TempItem::StageForDeletion(
                fd_.get(), "package",
                UniqueFd(open((folder_ / "package").c_str(), O_RDONLY | O_DIRECTORY)), &staged));
  EXPECT_EQ(std::vector<std::string>{staged.name()}, NamesIn(folder_.path()));
  RecoverFolder(folder_.path());
  EXPECT_EQ("x", ReadFile(folder_ / (staged.name() + "/file")));
  EXPECT_EQ(noErr, staged.Publish("package"));
  EXPECT_EQ("x", ReadFile(folder_ / "package/file"));
}

TEST_F(TempItemTest, StagesNoOtherFolder) {
  MakeFolder(folder_ / "meant");
  MakeFolder(folder_ / "other");
  TempItem staged;
  const auto open = [&] {
    return UniqueFd(::open((folder_ / "meant").c_str(), O_RDONLY | O_DIRECTORY));
  };
  EXPECT_EQ(fnfErr, TempItem::StageForDeletion(fd_.get(), "other", open(), &staged));
  const UniqueFd locked = open();
  ASSERT_EQ(0, flock(locked.get(), LOCK_EX));
  EXPECT_EQ(fBsyErr, TempItem::StageForDeletion(fd_.get(), "meant", open(), &staged));
  EXPECT_EQ((std::vector<std::string>{"meant", "other"}), NamesIn(folder_.path()));
}

TEST(DeleteTree, DeletesAnyDepthWithFewDescriptors) {
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

TEST_F(TempItemTest, StaysIfOutOfMemory) {
  {
    TempItem item;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &item));
    ASSERT_EQ(noErr, item.Publish("published"));
    FailAllocations(1, 1'000);
  }
  FailAllocations(0, 0);
  EXPECT_EQ(std::vector<std::string>{"published"}, NamesIn(folder_.path()));
}

// The driver of exFAT renames a file that is removed while it is open, for which a folder may need
// space. The folder is filled so that it does.
TEST(TempItemOnFullDisk, IsRemoved) {
  const ScratchVolume exfat(VolumeKind::kExfat, {}, 20);
  if (!exfat.IsAvailable()) GTEST_SKIP() << exfat.UnavailableReason();
  const TemporaryFolder folder;
  WriteFile(folder / "source", std::string(300'000, 'x'));
  std::vector<std::string> names;
  for (int i = 10; i < 51; ++i) names.push_back("n" + std::to_string(i));
  for (const std::string& name : names) WriteFile(exfat / ("to/" + name), "");
  const UniqueFd filler(
      open((exfat / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0600));
  const std::string block(4096, 'x');
  while (write(filler.get(), block.data(), block.size()) > 0) {
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(dskFulErr, CopyAt(folder / "source", exfat / "to/copy"));
    EXPECT_EQ(names, NamesIn(exfat / "to"));
  }
}

}  // namespace
}  // namespace tessary::test
