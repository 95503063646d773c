#include "engine/classification.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

struct Row {
  std::string name;
  bool isPlainFolder;
  bool isApplication;
};

TEST(Classification, Folders) {
  const TemporaryFolder folder;
  const Row rows[] = {
      {"Folder", true, false},         {".hidden", true, false},
      {"Tool.app", false, true},       {"Tool.APP", false, true},
      {"Kit.framework", false, false}, {"Plug.plugin", false, false},
      {"Stuff.bundle", false, false},  {"Notes.rtfd", false, false},
      {"archive.d", true, false},      {"app", true, false},
      {"Tool.app.old", true, false},   {"new\nline", true, false},
      {"\xff", true, false},
  };
  for (const Row& row : rows) {
    MakeFolder(folder / row.name);
    EXPECT_EQ(row.isPlainFolder, IsPlainFolder(RefAt(folder / row.name))) << row.name;
    EXPECT_EQ(row.isApplication, IsApplicationItem(RefAt(folder / row.name))) << row.name;
  }
}

TEST(Classification, OtherItems) {
  const TemporaryFolder folder;
  WriteFile(folder / "file.txt");
  WriteFile(folder / "Tool.app");
  MakeFolder(folder / "Real.app");
  MakeFolder(folder / "Plain");
  MakeLink("Plain", folder / "LinkToPlain");
  MakeLink("Real.app", folder / "LinkToApp.app");
  MakeLink("nowhere", folder / "dangling");
  ASSERT_EQ(0, mkfifo((folder / "pipe").c_str(), 0600));
  for (const std::string name :
       {"file.txt", "Tool.app", "LinkToPlain", "LinkToApp.app", "dangling", "pipe"}) {
    EXPECT_FALSE(IsPlainFolder(RefAt(folder / name))) << name;
    EXPECT_FALSE(IsApplicationItem(RefAt(folder / name))) << name;
  }
}

TEST(Classification, FinderInformation) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Bundle");
  MakeFolder(folder / "Invisible");
  WriteFile(folder / "Program");
  if (!SetFinderInfo(folder / "Bundle", "", kHasBundle))
    GTEST_SKIP() << "needs extended attributes";
  ASSERT_TRUE(SetFinderInfo(folder / "Invisible", "", kIsInvisible));
  ASSERT_TRUE(SetFinderInfo(folder / "Program", "APPL", 0));
  EXPECT_FALSE(IsPlainFolder(RefAt(folder / "Bundle")));
  EXPECT_FALSE(IsApplicationItem(RefAt(folder / "Bundle")));
  EXPECT_TRUE(IsPlainFolder(RefAt(folder / "Invisible")));
  EXPECT_FALSE(IsPlainFolder(RefAt(folder / "Program")));
  EXPECT_TRUE(IsApplicationItem(RefAt(folder / "Program")));
}

TEST(Classification, UnreadableItems) {
  const TemporaryFolder folder;
  for (const std::string name : {"Plain", "Tool.app"}) {
    MakeFolder(folder / name);
    const FSRef ref = RefAt(folder / name);
    ASSERT_EQ(0, rmdir((folder / name).c_str()));
    EXPECT_FALSE(IsPlainFolder(ref)) << name;
    EXPECT_FALSE(IsApplicationItem(ref)) << name;
  }
  EXPECT_FALSE(IsPlainFolder(FSRef{}));
  EXPECT_FALSE(IsApplicationItem(FSRef{}));
}

}  // namespace
}  // namespace tessary::test
