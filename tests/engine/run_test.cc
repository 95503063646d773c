#include "engine/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "engine/application_source.h"
#include "platform/extension_map.h"
#include "tests/engine/engine_fixture.h"

namespace tessary::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr int64_t kMarch2009 = 1236164645;   // 2009-03-04 11:04:05 UTC
constexpr int64_t kAugust2011 = 1314186645;  // 2011-08-24 11:50:45 UTC
constexpr auto kFiled = ItemOutcome::kFiled;
constexpr auto kFailed = ItemOutcome::kFailed;
constexpr auto kSkipped = ItemOutcome::kSkipped;

class RunTest : public EngineFixture {
 protected:
  RunTest() {
    if (const char* zone = std::getenv("TZ")) savedZone_ = zone;
    setenv("TZ", "UTC0", 1);
    tzset();
  }
  ~RunTest() override {
    if (savedZone_) {
      setenv("TZ", savedZone_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

  // Sets the settings as another program would, long before the run.
  void Set(const std::string& text) const { preferences_.Write(text); }

  // A file of the source folder, of a date.
  void WriteDated(const std::string& path, int64_t seconds) const {
    WriteFile(path, path);
    SetModificationDate(path, seconds);
  }

 private:
  std::optional<std::string> savedZone_;
};

using RunByExtension = RunTest;
using RunByFileType = RunTest;
using RunByMimeType = RunTest;
using RunByDate = RunTest;
using RunOfFolders = RunTest;
using RunWithChangingSettings = RunTest;

TEST_F(RunByExtension, CopiesWhenNothingIsSet) {
  WriteFile(InSource("a.txt"), "a");
  Run();
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_EQ("a", ReadFile(InDestination("txt/a.txt")));
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovedLine("a.txt", "txt")));
}

TEST_F(RunByExtension, CopiesForTwoAndMovesForAnyOtherNumber) {
  for (const std::string number : {"0", "1", "2", "3", "-2"}) {
    Set("FileOperation = " + number + "\n");
    WriteFile(InSource("a." + number));
    Run();
    EXPECT_TRUE(Exists(InDestination(number + "/a." + number)));
    EXPECT_EQ(number == "2", Exists(InSource("a." + number))) << number;
  }
}

TEST_F(RunByExtension, KeepsTheCaseAndTakesTheLastExtension) {
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

TEST_F(RunByExtension, ShowsEachItemInTheStatusLineAndNotInTheLog) {
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b"));
  Run();
  EXPECT_THAT(progress_, ElementsAre("1 " + MovingLine(InSource("a.txt"))));
  EXPECT_THAT(Messages(), Not(Contains(StartsWith("Moving:"))));
}

TEST_F(RunByExtension, FilesAnApplicationWhole) {
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

TEST_F(RunByExtension, FailsIntoAFileThatBearsTheKeysName) {
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

TEST_F(RunByExtension, FilesWhatHasTheSameNameUnderDistinctNames) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("a.txt"), "1");
  WriteFile(InSource("sub/a.txt"), "2");
  WriteFile(InSource("sub/sub/a.txt"), "3");
  Run();
  const std::vector<std::string> names = NamesIn(InDestination("txt"));
  ASSERT_EQ(3U, names.size());
  // The deepest came first and kept its name.
  EXPECT_EQ("3", ReadFile(InDestination("txt/a.txt")));
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_THAT(names[i], MatchesRegex(DistinctName("a - ", "\\.txt")));
  }
}

TEST_F(RunByExtension, ReplacesWhenTheSettingsSaySo) {
  Set("ReplaceFilesBySameName = true\n");
  WriteFile(InSource("a.txt"), "new");
  WriteFile(InDestination("txt/a.txt"), "old");
  Run();
  EXPECT_THAT(NamesIn(InDestination("txt")), ElementsAre("a.txt"));
  EXPECT_EQ("new", ReadFile(InDestination("txt/a.txt")));
}

TEST_F(RunByFileType, PrefersTheTypeAndFallsBackToTheMap) {
  Set("TessaryType = 2\nFileOperation = 1\n");
  BuildExtensionMap();
  for (const std::string name :
       {"notes.rtf", "x.JPG", "paper", "plain.qqqq", "up", "dot", "in", "slash"}) {
    WriteFile(InSource(name));
  }
  if (!SetFinderInfo(InSource("notes.rtf"), "TEXT", 0)) GTEST_SKIP() << "no attributes here";
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
  EXPECT_THAT(outcomes_[InSource("up")], ElementsAre(ItemOutcome::kFailedUnlogged));
  EXPECT_THAT(outcomes_[InSource("dot")], ElementsAre(ItemOutcome::kFailedUnlogged));
  EXPECT_THAT(outcomes_[InSource("in")], ElementsAre(kSkipped));
  EXPECT_THAT(outcomes_[InSource("plain.qqqq")], ElementsAre(kSkipped));
}

TEST_F(RunByFileType, ShowsEachItemInTheLogOnly) {
  Set("TessaryType = 2\n");
  WriteFile(InSource("notes"));
  if (!SetFinderInfo(InSource("notes"), "TEXT", 0)) GTEST_SKIP() << "no attributes here";
  Run();
  EXPECT_THAT(progress_, IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovingLine(InSource("notes")),
                                      MovedLine("notes", "TEXT")));
}

TEST_F(RunByMimeType, MakesOneFolderOfAType) {
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

TEST_F(RunByDate, MakesAYearAndADay) {
  Set("TessaryType = 4\n");
  WriteDated(InSource("photo.jpg"), kMarch2009);
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/photo.jpg"));
  EXPECT_TRUE(Exists(InSource("photo.jpg")));
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovingLine(InSource("photo.jpg")),
                                      MovedLine("photo.jpg", "2009"),
                                      MovingLine(InDestination("2009/photo.jpg")),
                                      MovedLine("photo.jpg", "Mar 04, 2009")));
  EXPECT_THAT(progress_, IsEmpty());
}

TEST_F(RunByDate, GoesByTheCreationDateForKindFive) {
  Set("TessaryType = 5\nFileOperation = 1\n");
  WriteDated(InSource("a"), kAugust2011);
  if (!SetAttribute(InSource("a"), "user.tessary.creation-date", "2009-03-04T11:04:05Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
}

TEST_F(RunByDate, SortsACopyByItsOriginalsCreationDate) {
  Set("TessaryType = 5\nFileOperation = 2\n");
  WriteDated(InSource("a"), kAugust2011);
  if (!SetAttribute(InSource("a"), "user.tessary.creation-date", "2009-03-04T11:04:05Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
  EXPECT_TRUE(Exists(InSource("a")));
}

TEST_F(RunByDate, SortsTheFilesOfEveryPlainFolderOfTheDestinationByMoving) {
  Set("TessaryType = 4\nFileOperation = 2\n");
  WriteDated(InSource("a"), kMarch2009);
  WriteDated(InDestination("Photos/b"), kAugust2011);
  WriteDated(InDestination("Photos/deep/c"), kAugust2011);
  WriteDated(InDestination("Photos/.hidden"), kAugust2011);
  WriteDated(InDestination(".Hidden/d"), kAugust2011);
  WriteDated(InDestination("Tool.app/e"), kAugust2011);
  WriteDated(InDestination("f"), kAugust2011);
  Run();
  EXPECT_THAT(FilesBelow(destination_),
              UnorderedElementsAre("2009/Mar 04, 2009/a", "Photos/Aug 24, 2011/b", "Photos/deep/c",
                                   "Photos/.hidden", ".Hidden/d", "Tool.app/e", "f"));
}

TEST_F(RunByDate, TakesTheCopyFlagThatItIsGiven) {
  Set("FileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  AggregateByDate(RefAt(source_), RefAt(destination_), DateAttribute::NSFileModificationDate,
                  /*copy=*/true);
  EXPECT_TRUE(Exists(InSource("a")));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
}

TEST_F(RunByDate, TellsOfEachItemOnce) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  MakeLink("nowhere", InSource("dangling"));
  WriteDated(InSource("b"), kAugust2011);
  WriteDated(InSource(".hidden"), kAugust2011);
  WriteFile(InDestination("2011"), "a file");
  Run();
  EXPECT_THAT(outcomes_,
              UnorderedElementsAre(testing::Pair(InDestination("2009/a"), ElementsAre(kFiled)),
                                   testing::Pair(InSource("dangling"), ElementsAre(kSkipped)),
                                   testing::Pair(InSource("b"), ElementsAre(kFailed))));
}

TEST_F(RunByDate, TellsOfAnItemThatFailedOnItsWayToItsDay) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  // A link that leads nowhere has no date, so that it stays in the day's way.
  MakeLink("nowhere", InDestination("2009/Mar 04, 2009"));
  Run();
  EXPECT_THAT(outcomes_,
              UnorderedElementsAre(testing::Pair(InDestination("2009/a"),
                                                 ElementsAre(ItemOutcome::kFailedInYearFolder)),
                                   testing::Pair(InDestination("2009/Mar 04, 2009"),
                                                 ElementsAre(ItemOutcome::kSkippedInYearFolder))));
  EXPECT_TRUE(Exists(InDestination("2009/a")));
  EXPECT_EQ(NotMovedLine(InDestination("2009/a"), InDestination("2009/Mar 04, 2009")),
            Messages().back());
}

TEST_F(RunByDate, LeavesALinkInItsYearThatLeadsNowhereFromThere) {
  Set("TessaryType = 4\nRecurseFolders = true\n");
  WriteDated(InSource("sub/target"), kMarch2009);
  MakeLink("target", InSource("sub/link"));
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/target", "2009/link"));
  // Once for each of the two folders that the run visits.
  EXPECT_THAT(outcomes_[InDestination("2009/link")],
              ElementsAre(ItemOutcome::kSkippedInYearFolder, ItemOutcome::kSkippedInYearFolder));
}

TEST_F(RunByDate, TellsNothingOfAnItemThatIsInItsYearAlready) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InDestination("2009/a"), kMarch2009);
  AggregateFolder(RefAt(InDestination("2009")), RefAt(destination_));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
  EXPECT_THAT(outcomes_, ElementsAre(testing::Pair(InDestination("2009/a"), ElementsAre(kFiled))));
}

TEST_F(RunOfFolders, FilesNothingOfSubfoldersUnlessTheSettingsSaySo) {
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

TEST_F(RunOfFolders, FilesTheDeepestFirstAndLeavesTheFolders) {
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

TEST_F(RunOfFolders, EntersNoHiddenFolderButOneWithTheInvisibleFlag) {
  Set("RecurseFolders = true\nFileOperation = 1\n");
  WriteFile(InSource(".hidden/a.txt"));
  WriteFile(InSource("invisible/b.txt"));
  WriteFile(InSource("c.txt"));
  WriteFile(InSource(".d.txt"));
  if (!SetFinderInfo(InSource("invisible"), "", kIsInvisible)) GTEST_SKIP() << "no attributes here";
  ASSERT_TRUE(SetFinderInfo(InSource("c.txt"), "", kIsInvisible));
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/b.txt"));
  EXPECT_THAT(FilesBelow(source_), UnorderedElementsAre(".d.txt", ".hidden/a.txt", "c.txt"));
  EXPECT_EQ(1U, outcomes_.size());
}

TEST_F(RunOfFolders, GoesAsDeepAsTheFoldersDo) {
  Set("RecurseFolders = true\nFileOperation = 1\n");
  std::string folder = source_;
  for (int i = 0; i < 500; ++i) folder += "/d";
  WriteFile(folder + "/deep.txt");
  Run();
  EXPECT_TRUE(Exists(InDestination("txt/deep.txt")));
}

TEST_F(RunOfFolders, FilesNothingForAKindThatIsNone) {
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

TEST_F(RunOfFolders, ChangesNothingWhenTheDestinationInsideTheSourceIsEnteredAgain) {
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
        // A second run has nothing left but what is in its place.
        outcomes_.clear();
        AggregateFolder(source, destination);
        EXPECT_EQ(filed, FilesBelow(folder / "source/filed")) << kind;
        for (const auto& [path, told] : outcomes_) EXPECT_THAT(told, ElementsAre(kSkipped));
        EXPECT_EQ(2U, outcomes_.size());
      }
    }
  }
}

TEST_F(RunOfFolders, ReplacesItsOwnCopiesWhenRunTwice) {
  Set("RecurseFolders = true\nReplaceFilesBySameName = true\n");
  WriteFile(InSource("a.txt"), "a");
  Run();
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt"));
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
}

TEST_F(RunOfFolders, NamesTheSourceByItsOwnName) {
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

TEST_F(RunOfFolders, SaysNothingForASourceThatIsGone) {
  MakeFolder(InSource("gone"));
  const FSRef gone = RefAt(InSource("gone"));
  ASSERT_EQ(0, rmdir(InSource("gone").c_str()));
  AggregateFolder(gone, RefAt(destination_));
  AggregateFolder(FSRef{}, RefAt(destination_));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RunOfFolders, LeavesEverythingForADestinationThatIsGone) {
  WriteFile(InSource("a.txt"));
  const FSRef destination = RefAt(destination_);
  ASSERT_EQ(0, rmdir(destination_.c_str()));
  for (const std::string kind : {"1", "4"}) {
    Set("FileOperation = 1\nTessaryType = " + kind + "\n");
    outcomes_.clear();
    AggregateFolder(RefAt(source_), destination);
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kFailedUnlogged));
  }
  EXPECT_THAT(Messages(), Each(AggregatingLine("source")));
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt"));
}

TEST_F(RunOfFolders, FilesAnApplicationsResourcesWhenItIsTheSource) {
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

TEST_F(RunOfFolders, EntersAWholeApplicationsFoldersOnlyWhenTheSettingsSaySo) {
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

// Settings that another process changes while the run goes on. Those that are read without looking
// at the file first follow whatever looks at it next.

TEST_F(RunWithChangingSettings, FollowsTheCopyFlagWithinAFolder) {
  Set("FileOperation = 1\n");
  for (const std::string name : {"a.txt", "b.txt", "c.txt"}) {
    WriteFile(InSource(name), "new");
    WriteFile(InDestination("txt/" + name), "old");  // which makes each transfer read a setting
  }
  int items = 0;
  onProgress_ = [&](const std::string&) {
    if (++items == 1) WritePreferencesInChild("FileOperation = 2\n");
  };
  Run();
  EXPECT_EQ(3, items);
  // The first was on its way; all others follow.
  EXPECT_EQ(2U, NamesIn(source_).size());
  EXPECT_EQ(6U, NamesIn(InDestination("txt")).size());
}

TEST_F(RunWithChangingSettings, FollowsReplacementWithTheNextItem) {
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
  // The first got a distinct name beside the old one, the second took the old one's place.
  EXPECT_EQ(3U, NamesIn(InDestination("txt")).size());
}

TEST_F(RunWithChangingSettings, FollowsTheKindWithTheNextFolder) {
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
  // The folder that was under way went on by its own kind.
  const std::vector<std::string> byExtension = NamesIn(InDestination("jpg"));
  const std::vector<std::string> byMimeType = NamesIn(InDestination("image:jpeg"));
  EXPECT_THAT(byExtension,
              testing::AnyOf(ElementsAre("a1.jpg", "a2.jpg"), ElementsAre("b1.jpg", "b2.jpg")));
  EXPECT_EQ(2U, byMimeType.size());
}

TEST_F(RunWithChangingSettings, FollowsRecursionWithTheNextFolder) {
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
  // One of the two was entered to the ground, the other not below its own files.
  const std::vector<std::string> left = FilesBelow(source_);
  EXPECT_THAT(left, ElementsAre(testing::AnyOf("a/sub/2.txt", "b/sub/2.txt")));
}

TEST_F(RunWithChangingSettings, KeepsTheCopyFlagOfADateForTheWholeFolder) {
  Set("FileOperation = 1\nTessaryType = 4\n");
  // The year level calls no hook but for what it passes over: links that lead nowhere, among files
  // whose names are taken, so that each transfer looks at the preferences.
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
