// Items that have a sidecar.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

#include "tests/conformance/conformance_fixture.h"

namespace tessary::test {
namespace {

std::string SidecarOf(const std::string& path) {
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + "._" + path.substr(name);
}

void MakeItemWithSidecar(const std::string& path, const std::string& contents) {
  WriteFile(path.ends_with(".app") ? path + "/inner" : path, contents);
  WriteFile(SidecarOf(path), "sidecar of " + contents);
}

// Maps the contents of each item in a folder to those of its sidecar. A sidecar without an item and
// a hidden file of ours fail the test.
std::map<std::string, std::string> SidecarsByItem(const std::string& folder) {
  std::map<std::string, std::string> sidecars;
  for (const std::string& name : NamesIn(folder)) {
    std::string path = folder;
    path.append("/").append(name);
    EXPECT_EQ(std::string::npos, name.find("tessary-")) << name;
    if (name.starts_with("._")) {
      EXPECT_TRUE(Exists(path.erase(folder.size() + 1, 2))) << name;
    } else {
      const std::string contents = ReadFile(name.ends_with(".app") ? path + "/inner" : path);
      sidecars[contents] = Exists(SidecarOf(path)) ? ReadFile(SidecarOf(path)) : "none";
    }
  }
  return sidecars;
}

using SidecarMap = std::map<std::string, std::string>;

TEST_P(Conformance, SidecarArrivesWithItsItem) {
  MakeItemWithSidecar(From("item.txt"), "new");
  MakeItemWithSidecar(From("Tool.app"), "package");
  WriteFile(From("alone.txt"), "alone");
  MakeItemWithSidecar(To("txt/item.txt"), "old");
  RunEngine();
  EXPECT_EQ((SidecarMap{{"new", "sidecar of new"}, {"old", "sidecar of old"}, {"alone", "none"}}),
            SidecarsByItem(To("txt")));
  EXPECT_EQ((SidecarMap{{"package", "sidecar of package"}}), SidecarsByItem(To("app")));
  EXPECT_EQ(IsMove() ? 0U : 5U, FilesBelow(FromFolder()).size());
}

TEST_P(Conformance, SidecarIsReplacedWithItsItem) {
  MakeItemWithSidecar(From("item.txt"), "new");
  WriteFile(From("alone.txt"), "alone");
  MakeItemWithSidecar(To("txt/item.txt"), "old");
  MakeItemWithSidecar(To("txt/alone.txt"), "old alone");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ((SidecarMap{{"new", "sidecar of new"}, {"alone", "none"}}), SidecarsByItem(To("txt")));
}

TEST_P(Conformance, SidecarNeedsItsName) {
  MakeItemWithSidecar(From("item.txt"), "new");
  WriteFile(From("alone.txt"), "alone");
  WriteFile(To("txt/._item.txt"), "orphaned");
  WriteFile(To("txt/._alone.txt"), "orphaned too");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ("orphaned", ReadFile(To("txt/._item.txt")));
  EXPECT_EQ("orphaned too", ReadFile(To("txt/._alone.txt")));
  EXPECT_EQ("alone", ReadFile(To("txt/alone.txt")));
  EXPECT_FALSE(Exists(To("txt/item.txt")));
  EXPECT_EQ(5U, NamesIn(To("txt")).size()) << testing::PrintToString(NamesIn(To("txt")));
}

}  // namespace
}  // namespace tessary::test
