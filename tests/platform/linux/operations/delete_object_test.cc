#include <gtest/gtest.h>

#include <filesystem>

#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(FSDeleteObject, DeletesFilesLinksAndEmptyFolders) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  WriteFile(folder / "full/file");
  MakeFolder(folder / "empty");
  MakeLink("full", folder / "link");
  for (const char* name : {"file", "empty", "link"}) {
    EXPECT_EQ(noErr, FSDeleteObject(RefAt(folder / name))) << name;
    EXPECT_FALSE(Exists(folder / name)) << name;
  }
  EXPECT_EQ(fBsyErr, FSDeleteObject(RefAt(folder / "full")));
  EXPECT_TRUE(Exists(folder / "full/file"));
  EXPECT_EQ(paramErr, FSDeleteObject(FSRef{}));
  EXPECT_NE(noErr, FSDeleteObject(RefAt("/")));
}

TEST(FSDeleteObject, KeepsReplacedObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "old");
  const FSRef ref = RefAt(folder / "file");
  WriteFile(folder / "other", "new");
  std::filesystem::rename(folder / "other", folder / "file");
  EXPECT_EQ(fnfErr, FSDeleteObject(ref));
  EXPECT_EQ("new", ReadFile(folder / "file"));
}

}  // namespace
}  // namespace tessary::test
