#include "engine/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "engine/application_source.h"
#include "platform/extension_map.h"
#include "tests/engine/run_fixture.h"

namespace tessary::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr auto kFiled = ItemOutcome::kFiled;
constexpr auto kFailed = ItemOutcome::kNotTransferred;
constexpr auto kSkipped = ItemOutcome::kSkipped;

using RunByExtension = RunTest;
using RunByFileType = RunTest;
using RunByMimeType = RunTest;
using RunOfFolders = RunTest;

TEST_F(RunByExtension, CopiesByDefault) {
  WriteFile(InSource("a.txt"), "a");
  Run();
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_EQ("a", ReadFile(InDestination("txt/a.txt")));
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovedLine("a.txt", "txt")));
}

TEST_F(RunByExtension, CopiesForTwoOnly) {
  for (const std::string number : {"0", "1", "2", "3", "-2"}) {
    Set("FileOperation = " + number + "\n");
    WriteFile(InSource("a." + number));
    Run();
    EXPECT_TRUE(Exists(InDestination(number + "/a." + number)));
    EXPECT_EQ(number == "2", Exists(InSource("a." + number))) << number;
  }
}

TEST_F(RunByExtension, UsesLastExtensionVerbatim) {
  Set("FileOperation = 1\n");
  for (const std::string name :
       {"a.JPG", "b.jpg", "archive.tar.gz", "Makefile", "name.", "odd.q:q", "a.b c "}) {
    WriteFile(InSource(name));
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_),
              UnorderedElementsAre("JPG/a.JPG", "jpg/b.jpg", "gz/archive.tar.gz", "q:q/odd.q:q",
                                   "b c /a.b c "));
  EXPECT_THAT(NamesIn(source_), UnorderedElementsAre("Makefile", "name."));
  EXPECT_THAT(outcomes_[InSource("Makefile")], ElementsAre(kSkipped));
  EXPECT_THAT(outcomes_[InSource("name.")], ElementsAre(kSkipped));
  EXPECT_THAT(outcomes_[InSource("a.JPG")], ElementsAre(kFiled));
  EXPECT_EQ(6U, Messages().size());
}

TEST_F(RunByExtension, ShowsProgressInStatusLine) {
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b"));
  Run();
  EXPECT_THAT(progress_, ElementsAre("1 " + MovingLine(InSource("a.txt"))));
  EXPECT_THAT(Messages(), Not(Contains(StartsWith("Moving:"))));
}

TEST_F(RunByExtension, FilesApplicationWhole) {
  for (const std::string recurse : {"false", "true"}) {
    Set("FileOperation = 1\nRecurseFolders = " + recurse + "\n");
    WriteFile(InSource("Tool.app/Contents/a.txt"), recurse);
    Run();
    EXPECT_THAT(NamesIn(source_), IsEmpty());
    EXPECT_EQ(recurse, ReadFile(InDestination("app/Tool.app/Contents/a.txt")));
    EXPECT_THAT(NamesIn(destination_), ElementsAre("app"));
    ASSERT_EQ(0, rename(InDestination("app/Tool.app").c_str(), (root_ / recurse).c_str()));
  }
}

TEST_F(RunByExtension, FailsIfKeyNamesFile) {
  WriteFile(InDestination("txt"), "a file");
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  for (const std::string operation : {"1", "2"}) {
    Set("FileOperation = " + operation + "\n");
    outcomes_.clear();
    const size_t before = Messages().size();
    Run();
    std::vector<std::string> messages = Messages();
    messages.erase(messages.begin(), messages.begin() + static_cast<ptrdiff_t>(before));
    EXPECT_THAT(messages,
                UnorderedElementsAre(AggregatingLine("source"), "An error occurred: -1407",
                                     NotMovedLine(InSource("a.txt"), InDestination("txt")),
                                     "An error occurred: -1407",
                                     NotMovedLine(InSource("b.txt"), InDestination("txt"))));
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(kFailed));
  }
  EXPECT_EQ("a file", ReadFile(InDestination("txt")));
  EXPECT_THAT(NamesIn(source_), UnorderedElementsAre("a.txt", "b.txt"));
}

TEST_F(RunByExtension, MakesDistinctNames) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("a.txt"), "1");
  WriteFile(InSource("sub/a.txt"), "2");
  WriteFile(InSource("sub/sub/a.txt"), "3");
  Run();
  const std::vector<std::string> names = NamesIn(InDestination("txt"));
  ASSERT_EQ(3U, names.size());
  // The deepest is filed first and keeps its name.
  EXPECT_EQ("3", ReadFile(InDestination("txt/a.txt")));
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_THAT(names[i], MatchesRegex(DistinctName("a - ", "\\.txt")));
  }
}

TEST_F(RunByExtension, ReplacesExistingFile) {
  Set("ReplaceFilesBySameName = true\n");
  WriteFile(InSource("a.txt"), "new");
  WriteFile(InDestination("txt/a.txt"), "old");
  Run();
  EXPECT_THAT(NamesIn(InDestination("txt")), ElementsAre("a.txt"));
  EXPECT_EQ("new", ReadFile(InDestination("txt/a.txt")));
}

TEST_F(RunByFileType, FallsBackToExtensionMap) {
  Set("TessaryType = 2\nFileOperation = 1\n");
  BuildExtensionMap();
  for (const std::string name :
       {"notes.rtf", "x.JPG", "paper", "plain.qqqq", "up", "dot", "in", "slash"}) {
    WriteFile(InSource(name));
  }
  if (!SetFinderInfo(InSource("notes.rtf"), "TEXT", 0)) GTEST_SKIP() << "needs extended attributes";
  ASSERT_TRUE(SetFinderInfo(InSource("paper"), "PDF ", 0));
  ASSERT_TRUE(SetFinderInfo(InSource("up"), "..", 0));
  ASSERT_TRUE(SetFinderInfo(InSource("dot"), ".", 0));
  ASSERT_TRUE(SetFinderInfo(InSource("in"), std::string("\0ABC", 4), 0));
  ASSERT_TRUE(SetFinderInfo(InSource("slash"), "../x", 0));
  Run();
  EXPECT_THAT(FilesBelow(destination_),
              UnorderedElementsAre("TEXT/notes.rtf", "JPEG/x.JPG", "PDF /paper", "..:x/slash"));
  EXPECT_THAT(NamesIn(source_), UnorderedElementsAre("plain.qqqq", "up", "dot", "in"));
  EXPECT_THAT(NamesIn(root_.path()), UnorderedElementsAre("source", "destination"));
  EXPECT_THAT(outcomes_[InSource("up")], ElementsAre(ItemOutcome::kNoKeyFolder));
  EXPECT_THAT(outcomes_[InSource("dot")], ElementsAre(ItemOutcome::kNoKeyFolder));
  EXPECT_THAT(outcomes_[InSource("in")], ElementsAre(kSkipped));
  EXPECT_THAT(outcomes_[InSource("plain.qqqq")], ElementsAre(kSkipped));
}

TEST_F(RunByFileType, ShowsProgressInLog) {
  Set("TessaryType = 2\n");
  WriteFile(InSource("notes"));
  if (!SetFinderInfo(InSource("notes"), "TEXT", 0)) GTEST_SKIP() << "needs extended attributes";
  Run();
  EXPECT_THAT(progress_, IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovingLine(InSource("notes")),
                                      MovedLine("notes", "TEXT")));
}

TEST_F(RunByMimeType, CreatesOneFolderPerType) {
  Set("TessaryType = 3\nFileOperation = 1\n");
  for (const std::string name : {"photo.jpg", "data.qqqq", "data.QQQQ", "Makefile", "name."}) {
    WriteFile(InSource(name));
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_),
              UnorderedElementsAre("image:jpeg/photo.jpg", "application:qqqq/data.qqqq",
                                   "application:QQQQ/data.QQQQ", "application:/name."));
  EXPECT_THAT(NamesIn(source_), ElementsAre("Makefile"));
  EXPECT_THAT(Messages(), Contains(MovedLine("photo.jpg", "image/jpeg")));
  EXPECT_THAT(progress_, Contains("1 " + MovingLine(InSource("photo.jpg"))));
  EXPECT_THAT(Messages(), Not(Contains(StartsWith("Moving:"))));
}

TEST_F(RunByMimeType, LogsNothingWithoutKey) {
  Set("TessaryType = 3\n");
  WriteFile(InSource("Makefile"));
  Run();
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source")));
  EXPECT_THAT(progress_, IsEmpty());
  EXPECT_THAT(outcomes_[InSource("Makefile")], ElementsAre(kSkipped));
}

TEST_F(RunOfFolders, FilesPackagesWhole) {
  WriteFile(preferences_.MappingPath(), ".app \"APPL\"\n");
  BuildExtensionMap();
  for (const std::string kind : {"1", "2", "3", "4", "5"}) {
    for (const std::string operation : {"1", "2"}) {
      for (const std::string recurse : {"false", "true"}) {
        SCOPED_TRACE("kind " + kind + ", operation " + operation + ", recursion " + recurse);
        Set("TessaryType = " + kind + "\nFileOperation = " + operation +
            "\nRecurseFolders = " + recurse + "\n");
        const TemporaryFolder folder;
        WriteFile(folder / "from/Tool.app/Contents/a.txt", "inside");
        MakeFolder(folder / "to");
        AggregateFolder(RefAt(folder / "from"), RefAt(folder / "to"));
        EXPECT_THAT(FilesBelow(folder / "to"), ElementsAre(EndsWith("/Tool.app/Contents/a.txt")));
        EXPECT_EQ(operation == "2", Exists(folder / "from/Tool.app/Contents/a.txt"));
        EXPECT_EQ(operation == "2", Exists(folder / "from/Tool.app"));
      }
    }
  }
}

TEST_F(RunOfFolders, IgnoresSubfoldersByDefault) {
  WriteFile(InSource("a/b/c.txt"));
  WriteFile(InSource("d/e.txt"));
  for (const std::string text : {"", "RecurseFolders = 1\n", "RecurseFolders = \"true\"\n"}) {
    Set(text);
    Run();
  }
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), AggregatingLine("source"),
                                      AggregatingLine("source")));
}

TEST_F(RunOfFolders, FilesDeepestFirst) {
  Set("RecurseFolders = true\nFileOperation = 1\n");
  WriteFile(InSource("a/b/1.txt"));
  WriteFile(InSource("a/2.txt"));
  WriteFile(InSource("3.txt"));
  Run();
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovedLine("1.txt", "txt"),
                                      MovedLine("2.txt", "txt"), MovedLine("3.txt", "txt")));
  EXPECT_THAT(FilesBelow(destination_),
              UnorderedElementsAre("txt/1.txt", "txt/2.txt", "txt/3.txt"));
  EXPECT_THAT(NamesIn(source_), ElementsAre("a"));
  EXPECT_THAT(NamesIn(InSource("a")), ElementsAre("b"));
  EXPECT_THAT(NamesIn(InSource("a/b")), IsEmpty());
}

TEST_F(RunOfFolders, SkipsHiddenFoldersAndFiles) {
  Set("RecurseFolders = true\nFileOperation = 1\n");
  WriteFile(InSource(".hidden/a.txt"));
  WriteFile(InSource("invisible/b.txt"));
  WriteFile(InSource("c.txt"));
  WriteFile(InSource(".d.txt"));
  if (!SetFinderInfo(InSource("invisible"), "", kIsInvisible))
    GTEST_SKIP() << "needs extended attributes";
  ASSERT_TRUE(SetFinderInfo(InSource("c.txt"), "", kIsInvisible));
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/b.txt"));
  EXPECT_THAT(FilesBelow(source_), UnorderedElementsAre(".d.txt", ".hidden/a.txt", "c.txt"));
  EXPECT_EQ(1U, outcomes_.size());
}

TEST_F(RunOfFolders, HasNoDepthLimit) {
  Set("RecurseFolders = true\nFileOperation = 1\n");
  std::string folder = source_;
  for (int i = 0; i < 500; ++i) folder += "/d";
  WriteFile(folder + "/deep.txt");
  Run();
  EXPECT_TRUE(Exists(InDestination("txt/deep.txt")));
}

TEST_F(RunOfFolders, DoesNothingForInvalidKind) {
  WriteDated(InSource("a.txt"), kMarch2009);
  for (const std::string kind : {"0", "6", "-1", "32767"}) {
    Set("TessaryType = " + kind + "\n");
    Run();
  }
  EXPECT_THAT(Messages(), Each(AggregatingLine("source")));
  EXPECT_EQ(4U, Messages().size());
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_TRUE(Exists(InSource("a.txt")));
}

TEST_F(RunOfFolders, DestinationInsideSource) {
  BuildExtensionMap();
  for (const std::string kind : {"1", "2", "3"}) {
    for (const std::string operation : {"1", "2"}) {
      Set("RecurseFolders = true\nTessaryType = " + kind + "\nFileOperation = " + operation + "\n");
      const TemporaryFolder folder;
      WriteFile(folder / "source/a.jpg", "a");
      WriteFile(folder / "source/sub/b.jpg", "b");
      MakeFolder(folder / "source/filed");
      const FSRef source = RefAt(folder / "source");
      const FSRef destination = RefAt(folder / "source/filed");
      AggregateFolder(source, destination);
      const std::vector<std::string> filed = FilesBelow(folder / "source/filed");
      EXPECT_EQ(2U, filed.size()) << kind << operation;
      if (operation == "1") {
        // A second run finds only items in their key folders.
        outcomes_.clear();
        AggregateFolder(source, destination);
        EXPECT_EQ(filed, FilesBelow(folder / "source/filed")) << kind;
        for (const auto& [path, outcomes] : outcomes_) EXPECT_THAT(outcomes, ElementsAre(kSkipped));
        EXPECT_EQ(2U, outcomes_.size());
      }
    }
  }
}

TEST_F(RunOfFolders, ReplacesOwnCopies) {
  Set("RecurseFolders = true\nReplaceFilesBySameName = true\n");
  WriteFile(InSource("a.txt"), "a");
  Run();
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt"));
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
}

TEST_F(RunOfFolders, LogsNameOfSource) {
  const TemporaryFolder folder;
  const struct {
    std::string name;
    std::string line;
  } rows[] = {
      {"plain", "Aggregating folder plain"},          {"%@%s", "Aggregating folder %@%s"},
      {"new\nline", "Aggregating folder new\\nline"}, {"50:50", "Aggregating folder 50/50"},
      {"a\xff", "Aggregating folder a\xff"},
  };
  for (const auto& row : rows) {
    MakeFolder(folder / row.name);
    AggregateFolder(RefAt(folder / row.name), RefAt(destination_));
    EXPECT_EQ(row.line, Messages().back());
  }
}

TEST_F(RunOfFolders, LogsNothingForMissingSource) {
  MakeFolder(InSource("gone"));
  const FSRef gone = RefAt(InSource("gone"));
  ASSERT_EQ(0, rmdir(InSource("gone").c_str()));
  AggregateFolder(gone, RefAt(destination_));
  AggregateFolder(FSRef{}, RefAt(destination_));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RunOfFolders, ChangesNothingForMissingDestination) {
  WriteFile(InSource("a.txt"));
  const FSRef destination = RefAt(destination_);
  ASSERT_EQ(0, rmdir(destination_.c_str()));
  for (const std::string kind : {"1", "4"}) {
    Set("FileOperation = 1\nTessaryType = " + kind + "\n");
    outcomes_.clear();
    AggregateFolder(RefAt(source_), destination);
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kNoKeyFolder));
  }
  EXPECT_THAT(Messages(), Each(AggregatingLine("source")));
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt"));
}

TEST_F(RunOfFolders, FilesResourcesOfApplication) {
  Set("FileOperation = 1\n");
  WriteFile(InSource("Tool.app/Contents/Resources/a.txt"));
  WriteFile(InSource("Tool.app/Contents/b.txt"));
  SetEngineHooks({.runAggregation = [this](const FSRef& source) {
    AggregateFolder(source, RefAt(destination_));
  }});
  ResolveRunSource(RefAt(InSource("Tool.app")));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt"));
  EXPECT_EQ(AggregatingLine("Resources"), Messages().front());
}

TEST_F(RunOfFolders, EntersWholeApplicationOnRequest) {
  SetEngineHooks({.runAggregation = [this](const FSRef& source) {
    AggregateFolder(source, RefAt(destination_));
  }});
  WriteFile(InSource("Tool.app/Contents/a.txt"));
  Set("FileOperation = 1\nAggregateAppResourcesOnly = true\n");
  ResolveRunSource(RefAt(InSource("Tool.app")));
  EXPECT_THAT(FilesBelow(destination_), IsEmpty());
  Set("FileOperation = 1\nAggregateAppResourcesOnly = true\nRecurseFolders = true\n");
  ResolveRunSource(RefAt(InSource("Tool.app")));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt"));
}

}  // namespace
}  // namespace tessary::test
