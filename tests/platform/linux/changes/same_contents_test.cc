#include "platform/linux/changes/same_contents.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

class SameContents : public testing::Test {
 protected:
  bool AreSame(const std::string& first, const std::string& second) const {
    return CompareContents({opened_.get(), first}, {opened_.get(), second}) == noErr;
  }

  // Two packages with a file, a link and an empty folder.
  void PutPackages() const {
    for (const char* name : {"a", "b"}) {
      const std::string path = folder_ / name;
      WriteFile(path + "/sub/deeper/file", "contents");
      WriteFile(path + "/sub/other", "other");
      MakeFolder(path + "/empty");
      MakeLink("nowhere", path + "/link");
    }
  }

  TemporaryFolder folder_;
  UniqueFd opened_ = OpenFolder(folder_.path());
};

TEST_F(SameContents, OfFiles) {
  WriteFile(folder_ / "a", std::string(300'000, 'x'));
  WriteFile(folder_ / "b", std::string(300'000, 'x'));
  WriteFile(folder_ / "last", std::string(299'999, 'x') + "y");
  WriteFile(folder_ / "short", std::string(299'999, 'x'));
  WriteFile(folder_ / "empty");
  EXPECT_TRUE(AreSame("a", "b"));
  EXPECT_TRUE(AreSame("empty", "empty"));
  EXPECT_FALSE(AreSame("a", "last"));
  EXPECT_FALSE(AreSame("a", "short"));
  EXPECT_FALSE(AreSame("short", "a"));
  EXPECT_FALSE(AreSame("a", "empty"));
  EXPECT_FALSE(AreSame("a", "missing"));
}

TEST_F(SameContents, OfLinksAndOtherKinds) {
  WriteFile(folder_ / "file", "file");
  MakeFolder(folder_ / "folder");
  MakeLink("file", folder_ / "a");
  MakeLink("file", folder_ / "b");
  MakeLink("folder", folder_ / "c");
  EXPECT_EQ(0, mkfifo((folder_ / "fifo").c_str(), 0600));
  EXPECT_TRUE(AreSame("a", "b"));
  EXPECT_FALSE(AreSame("a", "c"));
  EXPECT_FALSE(AreSame("a", "file"));
  EXPECT_FALSE(AreSame("c", "folder"));
  EXPECT_FALSE(AreSame("file", "folder"));
  EXPECT_FALSE(AreSame("fifo", "fifo"));
}

TEST_F(SameContents, OfFolders) {
  PutPackages();
  EXPECT_TRUE(AreSame("a", "b"));
  // Both paths lead to one folder.
  WriteFile(folder_ / "flat/file");
  EXPECT_FALSE(AreSame("flat", "flat"));
}

TEST_F(SameContents, FindsDifferenceInFolder) {
  PutPackages();
  for (const char* change : {"sub/deeper/file", "sub/new", "empty/new", "new"}) {
    const std::string path = folder_ / ("b/" + std::string(change));
    const bool isNew = !Exists(path);
    WriteFile(path, "Contents");
    EXPECT_FALSE(AreSame("a", "b")) << change;
    EXPECT_FALSE(AreSame("b", "a")) << change;
    if (isNew) {
      std::filesystem::remove(path);
    } else {
      WriteFile(path, "contents");
    }
    EXPECT_TRUE(AreSame("a", "b")) << change;
  }
}

}  // namespace
}  // namespace tessary::test
