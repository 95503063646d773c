#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/engine/run_fixture.h"

namespace tessary::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::StartsWith;

using RunWithChangingSettings = RunTest;

// Another process changes the settings during the run. Only some accessors synchronise with the
// file before they read; the others see the change once one of those has been called.

TEST_F(RunWithChangingSettings, CopyFlagAppliesToNextItem) {
  Set("FileOperation = 1\n");
  for (const std::string name : {"a.txt", "b.txt", "c.txt"}) {
    WriteFile(InSource(name), "new");
    WriteFile(InDestination("txt/" + name), "old");  // so that each transfer synchronises
  }
  int items = 0;
  onProgress_ = [&](const std::string&) {
    if (++items == 1) WritePreferencesInChild("FileOperation = 2\n");
  };
  Run();
  EXPECT_EQ(3, items);
  // The first item was already being moved.
  EXPECT_EQ(2U, NamesIn(source_).size());
  EXPECT_EQ(6U, NamesIn(InDestination("txt")).size());
}

TEST_F(RunWithChangingSettings, ReplaceAppliesToNextItem) {
  Set("FileOperation = 2\n");
  for (const std::string name : {"a.txt", "b.txt"}) {
    WriteFile(InSource(name), "new");
    WriteFile(InDestination("txt/" + name), "old");
  }
  int items = 0;
  onItem_ = [&](const std::string&) {
    if (++items == 1) {
      WritePreferencesInChild("FileOperation = 2\nReplaceFilesBySameName = true\n");
    }
  };
  Run();
  // The first got a distinct name, the second replaced the existing file.
  EXPECT_EQ(3U, NamesIn(InDestination("txt")).size());
}

TEST_F(RunWithChangingSettings, KindAppliesToNextFolder) {
  Set("FileOperation = 1\nRecurseFolders = true\nTessaryType = 1\n");
  WriteFile(InSource("a/a1.jpg"));
  WriteFile(InSource("a/a2.jpg"));
  WriteFile(InSource("b/b1.jpg"));
  WriteFile(InSource("b/b2.jpg"));
  int items = 0;
  onProgress_ = [&](const std::string&) {
    if (++items != 1) return;
    WritePreferencesInChild("FileOperation = 1\nRecurseFolders = true\nTessaryType = 3\n");
  };
  Run();
  // The folder that had been begun was finished by its kind.
  const std::vector<std::string> byExtension = NamesIn(InDestination("jpg"));
  const std::vector<std::string> byMimeType = NamesIn(InDestination("image:jpeg"));
  EXPECT_THAT(byExtension,
              testing::AnyOf(ElementsAre("a1.jpg", "a2.jpg"), ElementsAre("b1.jpg", "b2.jpg")));
  EXPECT_EQ(2U, byMimeType.size());
}

TEST_F(RunWithChangingSettings, RecursionAppliesToNextFolder) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("a/1.txt"));
  WriteFile(InSource("a/sub/2.txt"));
  WriteFile(InSource("b/1.txt"));
  WriteFile(InSource("b/sub/2.txt"));
  int items = 0;
  onProgress_ = [&](const std::string&) {
    if (++items == 1) WritePreferencesInChild("FileOperation = 1\nRecurseFolders = false\n");
  };
  Run();
  // In one of the two the subfolder was entered, in the other it was not.
  const std::vector<std::string> left = FilesBelow(source_);
  EXPECT_THAT(left, ElementsAre(testing::AnyOf("a/sub/2.txt", "b/sub/2.txt")));
}

TEST_F(RunWithChangingSettings, DateKeepsCopyFlagOfFolder) {
  Set("FileOperation = 1\nTessaryType = 4\n");
  // The year level calls a hook only for skipped items, so the files are mixed with dangling links.
  // The names of the files exist in the destination, so that each transfer synchronises.
  for (int i = 0; i < 8; ++i) {
    const std::string name = std::to_string(i);
    WriteDated(InSource(name), kMarch2009);
    WriteDated(InDestination("2009/" + name), kAugust2011);
    MakeLink("nowhere", InSource("link" + name));
  }
  int items = 0;
  onItem_ = [&](const std::string&) {
    if (++items == 1) WritePreferencesInChild("FileOperation = 2\nTessaryType = 4\n");
  };
  Run();
  EXPECT_THAT(NamesIn(source_), Each(StartsWith("link")));
  EXPECT_EQ(8U, NamesIn(source_).size());
}

}  // namespace
}  // namespace tessary::test
