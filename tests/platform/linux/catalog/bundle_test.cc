#include "platform/managers/bundle.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

std::optional<std::string> ResourcePathOf(const std::string& path) {
  const auto bundle = NSBundle::BundleWithPath(path);
  EXPECT_TRUE(bundle) << path;
  return bundle ? bundle->ResourcePath() : std::nullopt;
}

TEST(MainBundle, ReturnsRegisteredInfo) {
  SetMainBundleInfoDictionary({{"CFBundleSignature", "TsRy"}, {"Empty", ""}});
  EXPECT_EQ("TsRy", CFBundleGetValueForInfoDictionaryKey("CFBundleSignature"));
  EXPECT_EQ("", CFBundleGetValueForInfoDictionaryKey("Empty"));
  EXPECT_EQ(std::nullopt, CFBundleGetValueForInfoDictionaryKey("cfbundlesignature"));
  SetMainBundleInfoDictionary({});
  EXPECT_EQ(std::nullopt, CFBundleGetValueForInfoDictionaryKey("CFBundleSignature"));
}

TEST(BundleWithPath, OpensFoldersOnly) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Tool.app");
  WriteFile(folder / "file.app");
  MakeLink("nowhere", folder / "dangling.app");
  EXPECT_TRUE(NSBundle::BundleWithPath(folder / "Tool.app"));
  EXPECT_FALSE(NSBundle::BundleWithPath(folder / "file.app"));
  EXPECT_FALSE(NSBundle::BundleWithPath(folder / "dangling.app"));
  EXPECT_FALSE(NSBundle::BundleWithPath(folder / "missing.app"));
  EXPECT_FALSE(NSBundle::BundleWithPath(""));
  EXPECT_FALSE(NSBundle::BundleWithPath("."));
  EXPECT_FALSE(NSBundle::BundleWithPath((folder / "Tool.app") + std::string("\0x", 2)));
}

TEST(ResourcePath, PrefersContentsFolder) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Both.app/Contents/Resources");
  MakeFolder(folder / "Both.app/Resources");
  MakeFolder(folder / "Flat caf\xE9\n..app/Resources");
  EXPECT_EQ(folder / "Both.app/Contents/Resources", ResourcePathOf(folder / "Both.app"));
  EXPECT_EQ(folder / "Flat caf\xE9\n..app/Resources",
            ResourcePathOf(folder / "Flat caf\xE9\n..app"));
}

TEST(ResourcePath, NoneWithoutResources) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Empty.app");
  MakeFolder(folder / "Bare.app/Contents/MacOS");
  MakeFolder(folder / "Bare.app/Resources");
  WriteFile(folder / "File.app/Contents/Resources", "not a folder");
  MakeFolder(folder / "Dangling.app/Contents");
  MakeLink("nowhere", folder / "Dangling.app/Contents/Resources");
  EXPECT_EQ(std::nullopt, ResourcePathOf(folder / "Empty.app"));
  EXPECT_EQ(std::nullopt, ResourcePathOf(folder / "Bare.app"));
  EXPECT_EQ(std::nullopt, ResourcePathOf(folder / "File.app"));
  EXPECT_EQ(std::nullopt, ResourcePathOf(folder / "Dangling.app"));
}

TEST(ResourcePath, ResolvesLinks) {
  const TemporaryFolder folder;
  MakeFolder(folder / "Versions/A/Resources");
  MakeFolder(folder / "Linked.app/Contents");
  MakeLink("../../Versions/A/Resources", folder / "Linked.app/Contents/Resources");
  EXPECT_EQ(folder / "Versions/A/Resources", ResourcePathOf(folder / "Linked.app"));
}

}  // namespace
}  // namespace tessary::test
