#include "platform/managers/launch_services.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr uint32_t kPackage = kLSItemInfoIsContainer | kLSItemInfoIsPackage;
constexpr uint32_t kApplication = kPackage | kLSItemInfoIsApplication;

uint32_t FlagsOf(const std::string& path) {
  LSItemInfoRecord info;
  EXPECT_EQ(noErr, LSCopyItemInfoForRef(RefAt(path), kLSRequestAllFlags, &info)) << path;
  return info.flags;
}

TEST(LSCopyItemInfoForRef, PackageByExtension) {
  const TemporaryFolder folder;
  const std::vector<std::pair<std::string, uint32_t>> rows = {
      {"folder", kLSItemInfoIsContainer},
      {"folder.d", kLSItemInfoIsContainer},
      {"app", kLSItemInfoIsContainer},
      {"Tool.app", kApplication},
      {"Tool.APP", kApplication},
      {"a.framework", kPackage},
      {"a.dSYM", kPackage},
      {"a.prefPane", kPackage},
      {"a.photoslibrary", kPackage},
      {"a.key-tef", kPackage},
      {"a.app.old", kLSItemInfoIsContainer}};
  for (const auto& [name, flags] : rows) {
    MakeFolder(folder / name);
    EXPECT_EQ(flags, FlagsOf(folder / name)) << name;
  }
}

TEST(LSCopyItemInfoForRef, PackageByBundleBit) {
  const TemporaryFolder folder;
  MakeFolder(folder / "bundle");
  MakeFolder(folder / "invisible");
  if (!SetFinderInfo(folder / "bundle", std::string(4, '\0'), kHasBundle)) {
    GTEST_SKIP() << "no attributes here";
  }
  ASSERT_TRUE(SetFinderInfo(folder / "invisible", std::string(4, '\0'), kIsInvisible));
  EXPECT_EQ(kPackage, FlagsOf(folder / "bundle"));
  EXPECT_EQ(kLSItemInfoIsContainer, FlagsOf(folder / "invisible"));
}

TEST(LSCopyItemInfoForRef, ApplicationByFileType) {
  const TemporaryFolder folder;
  WriteFile(folder / "Tool");
  WriteFile(folder / "Tool.app");
  MakeLink("Tool", folder / "link");
  if (!SetFinderInfo(folder / "Tool", "APPL", 0)) GTEST_SKIP() << "no attributes here";
  EXPECT_EQ(kLSItemInfoIsApplication, FlagsOf(folder / "Tool"));
  EXPECT_EQ(0U, FlagsOf(folder / "Tool.app"));
  EXPECT_EQ(0U, FlagsOf(folder / "link"));
}

TEST(LSCopyItemInfoForRef, LinkIsNeither) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Tool.app");
  MakeLink("Tool.app", folder / "Link.app");
  EXPECT_EQ(0U, FlagsOf(folder / "Link.app"));
}

TEST(LSCopyItemInfoForRef, FailsForMissingItem) {
  const TemporaryFolder folder;
  MakeFolder(folder / "gone");
  const FSRef gone = RefAt(folder / "gone");
  ASSERT_EQ(0, rmdir((folder / "gone").c_str()));
  LSItemInfoRecord info = {.flags = 77};
  EXPECT_EQ(fnfErr, LSCopyItemInfoForRef(gone, kLSRequestAllFlags, &info));
  EXPECT_EQ(paramErr, LSCopyItemInfoForRef(RefAt(folder.path()), 0, &info));
  EXPECT_EQ(paramErr, LSCopyItemInfoForRef(RefAt(folder.path()), kLSRequestAllFlags, nullptr));
  EXPECT_EQ(77U, info.flags);
}

TEST(LSCopyDisplayNameForRef, KeepsEveryByte) {
  const TemporaryFolder folder;
  for (const char* name :
       {"plain", "with: colon", "line\nbreak", ".leading", "two..dots.x", "not \xff UTF-8"}) {
    WriteFile(folder / name);
    std::string shown;
    EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt(folder / name), &shown)) << name;
    EXPECT_EQ(name, shown);
  }
}

TEST(LSCopyDisplayNameForRef, LinkAndRoot) {
  const TemporaryFolder folder;
  MakeLink("missing", folder / "dangling");
  std::string name;
  EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt(folder / "dangling"), &name));
  EXPECT_EQ("dangling", name);
  EXPECT_EQ(noErr, LSCopyDisplayNameForRef(RefAt("/"), &name));
  EXPECT_EQ("/", name);
}

TEST(LSCopyDisplayNameForRef, FailsForMissingItem) {
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
