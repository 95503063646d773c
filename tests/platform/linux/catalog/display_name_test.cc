#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/managers/launch_services.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(LSCopyDisplayNameForRef, IsTheNameInTheFileSystemByteForByte) {
  const TemporaryFolder folder;
  for (const char* name :
       {"plain", "with: colon", "line\nbreak", ".leading", "two..dots.x", "not \xff UTF-8"}) {
    WriteFile(folder / name);
    std::string shown;
    EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt(folder / name), &shown)) << name;
    EXPECT_EQ(name, shown);
  }
}

TEST(LSCopyDisplayNameForRef, IsALinksOwnNameAndASlashForTheRoot) {
  const TemporaryFolder folder;
  MakeLink("missing", folder / "dangling");
  std::string name;
  EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt(folder / "dangling"), &name));
  EXPECT_EQ("dangling", name);
  EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt("/"), &name));
  EXPECT_EQ("/", name);
}

TEST(LSCopyDisplayNameForRef, WritesNothingForWhatIsNotThere) {
  const TemporaryFolder folder;
  WriteFile(folder / "gone");
  const FSRef gone = RefAt(folder / "gone");
  std::filesystem::remove(folder / "gone");
  std::string name = "untouched";
  EXPECT_EQ(fnfErr, LSCopyDisplayNameForRef(gone, &name));
  EXPECT_EQ(paramErr, LSCopyDisplayNameForRef(FSRef{}, &name));
  EXPECT_EQ(paramErr, LSCopyDisplayNameForRef(RefAt("/"), nullptr));
  EXPECT_EQ("untouched", name);
}

}  // namespace
}  // namespace tessary::test
