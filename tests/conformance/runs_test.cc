// Whole runs of the engine: name clashes, and open descriptors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "engine/shell.h"
#include "tests/conformance/conformance_fixture.h"
#include "tests/support/file_operations.h"

namespace tessary::test {
namespace {

// The contents of the files below the folder, sorted.
std::vector<std::string> ContentsBelow(const std::string& folder) {
  std::vector<std::string> contents;
  for (const std::string& path : FilesBelow(folder))
    contents.push_back(ReadFile(folder + "/" + path));
  std::sort(contents.begin(), contents.end());
  return contents;
}

TEST_P(Conformance, RunKeepsClashingNames) {
  for (const std::string folder : {"one", "two", "three"}) {
    WriteFile(From(folder + "/item.txt"), folder);
  }
  WriteFile(To("txt/item.txt"), "existing");
  RunEngine("RecurseFolders = true\n");
  EXPECT_THAT(ContentsBelow(To("txt")), testing::ElementsAre("existing", "one", "three", "two"));
  EXPECT_EQ("existing", ReadFile(To("txt/item.txt")));
}

TEST_P(Conformance, RunReplacesOnlySameName) {
  WriteFile(From("item.txt"), "new");
  WriteFile(To("txt/item.txt"), "old");
  WriteFile(To("txt/other.txt"), "other");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ("new", ReadFile(To("txt/item.txt")));
  EXPECT_THAT(ContentsBelow(To("txt")), testing::ElementsAre("new", "other"));
}

TEST_P(Conformance, RunKeepsNonEmptyFolder) {
  WriteFile(From("item.txt"), "new");
  WriteFile(To("txt/item.txt/inner"), "old");
  RunEngine("ReplaceFilesBySameName = true\n");
  EXPECT_EQ("old", ReadFile(To("txt/item.txt/inner")));
  EXPECT_THAT(ContentsBelow(To("txt")), testing::ElementsAre("new", "old"));
}

TEST_P(SymlinkConformance, LinkAsKeyFolderNotFollowed) {
  WriteFile(From("item.txt"), "contents");
  MakeFolder(To("elsewhere"));
  MakeLink("elsewhere", To("txt"));
  RunEngine();
  EXPECT_FALSE(Exists(To("elsewhere/item.txt")));
  EXPECT_EQ("contents", ReadFile(From("item.txt")));
}

TEST_P(Conformance, SecondMoveChangesNothing) {
  if (IsCopy()) GTEST_SKIP() << "a second run makes second copies";
  WriteFile(From("a.txt"), "a");
  WriteFile(From("sub/a.txt"), "another a");
  WriteFile(From("Tool.app/inner"), "package");
  WriteFile(From("README"), "no extension");
  RunEngine("RecurseFolders = true\n");
  // Omits dates: a temporary file changes the date of its folder.
  TreeAspects aspects = UntouchedAspects();
  aspects.times = aspects.linkTimes = false;
  const std::vector<std::string> before = TreeLines(FromFolder(), aspects);
  const std::vector<std::string> arrived = TreeLines(ToFolder(), aspects);
  RunEngine("RecurseFolders = true\n");
  EXPECT_EQ(before, TreeLines(FromFolder(), aspects));
  EXPECT_EQ(arrived, TreeLines(ToFolder(), aspects));
}

TEST_P(Conformance, DescriptorsBoundedDuringRun) {
  constexpr int kItems = 120;
  // Those of a second thread, which prepares copies: at any time a file for each of the next items,
  // and the key folders.
  constexpr size_t kOfPreparedCopies = 32 + 4;
  for (int i = 0; i < kItems; ++i) {
    WriteFile(From(std::to_string(i) + ".k" + std::to_string(i % 4)), std::to_string(i));
  }
  std::vector<size_t> open;
  SetEngineHooks({.observeItem = [&open](const ItemReport& /*report*/) {
    open.push_back(CountOpenDescriptors());
  }});
  RunEngine();
  SetEngineHooks({});
  ASSERT_EQ(static_cast<size_t>(kItems), open.size());
  // The first half has opened the folders of all keys.
  const auto half = open.begin() + kItems / 2;
  const size_t bound =
      *std::max_element(open.begin(), half) + (IsCopy() ? kOfPreparedCopies : size_t{0});
  EXPECT_LE(*std::max_element(half, open.end()), bound);
}

}  // namespace
}  // namespace tessary::test
