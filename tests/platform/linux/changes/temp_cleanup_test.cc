#include "platform/linux/changes/temp_cleanup.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/linux/changes/temp_item.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

const std::string kStaleName = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";
const std::string kOtherStaleName = ".tessary-11234567-89AB-CDEF-0123-456789ABCDEF";

class TempCleanup : public testing::Test {
 protected:
  void CleanUp() const { RecoverFolder(folder_.path()); }

  TemporaryFolder folder_;
  UniqueFd fd_ = OpenFolder(folder_.path());
};

TEST_F(TempCleanup, DeletesStaleItems) {
  WriteFile(folder_ / kStaleName, "half");
  WriteFile(folder_ / (kOtherStaleName + "/a/b/c"), "half");
  CleanUp();
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(TempCleanup, KeepsOtherObjects) {
  const std::vector<std::string> kept = {".tessary-01234567-89ab-cdef-0123-456789abcdef",
                                         ".tessary-notes", "x" + kStaleName, kStaleName + ".txt"};
  for (const std::string& name : kept) WriteFile(folder_ / name, "mine");
  // A temporary item is a file or a folder.
  WriteFile(folder_ / "outside", "mine");
  MakeLink("outside", folder_ / kStaleName);
  ASSERT_EQ(0, mkfifo((folder_ / kOtherStaleName).c_str(), 0600));
  CleanUp();
  for (const std::string& name : kept) EXPECT_EQ("mine", ReadFile(folder_ / name));
  EXPECT_TRUE(Exists(folder_ / kStaleName));
  EXPECT_TRUE(Exists(folder_ / kOtherStaleName));
  EXPECT_EQ("mine", ReadFile(folder_ / "outside"));
}

TEST_F(TempCleanup, FollowsNoLinks) {
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

TEST_F(TempCleanup, DeletesFoldersClosedToTheirOwner) {
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

TEST_F(TempCleanup, LeavesWhatCannotBeDeleted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make files of another user";
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 01777));
  WriteFile(folder_ / (kStaleName + "/file"), "half");
  WriteFile(folder_ / kOtherStaleName, "half");
  EXPECT_TRUE(RunAsOrdinaryUser([&] { CleanUp(); }));
  EXPECT_EQ("half", ReadFile(folder_ / (kStaleName + "/file")));
  EXPECT_EQ("half", ReadFile(folder_ / kOtherStaleName));
}

TEST_F(TempCleanup, LeavesItemsInUse) {
  TempItem file;
  TempItem folder;
  ASSERT_EQ(noErr, TempItem::MakeTempFile(fd_.get(), &file));
  ASSERT_EQ(noErr, TempItem::MakeTempFolder(fd_.get(), &folder));
  CleanUp();
  EXPECT_TRUE(Exists(folder_ / file.name()));
  EXPECT_TRUE(Exists(folder_ / folder.name()));
}

}  // namespace
}  // namespace tessary::test
