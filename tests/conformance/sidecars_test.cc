// Items beside which a Mac has left a "._" file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

#include "tests/conformance/ground.h"

namespace tessary {
namespace {

using testing::Conformance;
using testing::Exists;
using testing::FilesBelow;
using testing::NamesIn;
using testing::ReadFile;
using testing::WriteFile;

std::string SidecarOf(const std::string& path) {
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + "._" + path.substr(name);
}

void MakePair(const std::string& path, const std::string& contents) {
  WriteFile(path.ends_with(".app") ? path + "/inner" : path, contents);
  WriteFile(SidecarOf(path), "sidecar of " + contents);
}

// By the contents of each item of a folder those of its sidecar. A sidecar without an item fails
// the test, as does whatever a change has left.
std::map<std::string, std::string> PairsIn(const std::string& folder) {
  std::map<std::string, std::string> pairs;
  for (const std::string& name : NamesIn(folder)) {
    std::string path = folder;
    path.append("/").append(name);
    EXPECT_EQ(std::string::npos, name.find("tessary-")) << name;
    if (name.starts_with("._")) {
      EXPECT_TRUE(Exists(path.erase(folder.size() + 1, 2))) << name;
    } else {
      const std::string contents = ReadFile(name.ends_with(".app") ? path + "/inner" : path);
      pairs[contents] = Exists(SidecarOf(path)) ? ReadFile(SidecarOf(path)) : "none";
    }
  }
  return pairs;
}

using Pairs = std::map<std::string, std::string>;

TEST_P(Conformance, SidecarArrivesWithItsItem) {
  MakePair(From("item.txt"), "new");
  MakePair(From("Tool.app"), "package");
  WriteFile(From("alone.txt"), "alone");
  MakePair(To("txt/item.txt"), "old");
  RunEngine();
  EXPECT_EQ((Pairs{{"new", "sidecar of new"}, {"old", "sidecar of old"}, {"alone", "none"}}),
            PairsIn(To("txt")));
  EXPECT_EQ((Pairs{{"package", "sidecar of package"}}), PairsIn(To("app")));
  EXPECT_EQ(IsMove() ? 0U : 5U, FilesBelow(FromFolder()).size());
}

TEST_P(Conformance, SidecarIsReplacedWithItsItem) {
  MakePair(From("item.txt"), "new");
  WriteFile(From("alone.txt"), "alone");
  MakePair(To("txt/item.txt"), "old");
  MakePair(To("txt/alone.txt"), "old alone");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ((Pairs{{"new", "sidecar of new"}, {"alone", "none"}}), PairsIn(To("txt")));
}

TEST_P(Conformance, WaitingSidecarIsATakenName) {
  MakePair(From("item.txt"), "new");
  WriteFile(From("alone.txt"), "alone");
  WriteFile(To("txt/._item.txt"), "left");
  WriteFile(To("txt/._alone.txt"), "left too");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ("left", ReadFile(To("txt/._item.txt")));
  EXPECT_EQ("left too", ReadFile(To("txt/._alone.txt")));
  ASSERT_EQ(5U, NamesIn(To("txt")).size()) << ::testing::PrintToString(NamesIn(To("txt")));
  EXPECT_FALSE(Exists(To("txt/item.txt")));
  EXPECT_FALSE(Exists(To("txt/alone.txt")));
}

}  // namespace
}  // namespace tessary
