#include "platform/managers/urls.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(CFURLCopyPathExtension, IsTheTextAfterTheLastDotOfTheLastComponent) {
  const std::vector<std::pair<std::string, std::optional<std::u16string>>> rows = {
      {"/d/Report.PDF", u"PDF"},
      {"/d/archive.tar.gz", u"gz"},
      {"/d/Tool.app", u"app"},
      {"/d/README", std::nullopt},
      {"/dir.d/README", std::nullopt},
      {"/d/name.", u""},
      {"/d/.bashrc", u"bashrc"},
      {"/d/a.b:c", u"b:c"},
      {"/d/x.\xff", {{char16_t{0xDCFF}}}}};
  for (const auto& [path, extension] : rows) {
    EXPECT_EQ(extension, CFURLCopyPathExtension({path, false})) << path;
  }
}

TEST(CFURLCreateFromFSRef, TellsThePathAndWhetherItIsAFolders) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeFolder(folder / "Tool.app");
  const auto file = CFURLCreateFromFSRef(RefAt(folder / "file"));
  ASSERT_TRUE(file);
  EXPECT_EQ(folder / "file", file->path);
  EXPECT_FALSE(file->hasDirectoryPath);
  const auto package = CFURLCreateFromFSRef(RefAt(folder / "Tool.app"));
  ASSERT_TRUE(package);
  EXPECT_TRUE(package->hasDirectoryPath);
}

TEST(CFURLCreateFromFSRef, GivesNoneForWhatIsGone) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const FSRef ref = RefAt(folder / "file");
  unlink((folder / "file").c_str());
  EXPECT_FALSE(CFURLCreateFromFSRef(ref));
  EXPECT_FALSE(CFURLCreateFromFSRef(FSRef{}));
}

}  // namespace
}  // namespace tessary::test
