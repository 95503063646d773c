#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "engine/run.h"
#include "tests/engine/run_fixture.h"
#include "tests/support/environment_variable.h"
#include "tests/support/ordinary_user.h"

namespace tessary::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr auto kSkippedItem = ItemOutcome::kSkipped;

using RunByDate = RunTest;

TEST_F(RunByDate, CreatesYearAndDay) {
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

TEST_F(RunByDate, ReadsTimeZoneAtStart) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  constexpr int64_t kLastSecondOf2008 = 1'230'767'999;
  WriteDated(InSource("first"), kLastSecondOf2008);
  Run();
  // Another process changes the time zone; nobody calls tzset in this one.
  const EnvironmentVariable zone("TZ", "EAST-3");
  WriteDated(InSource("second"), kLastSecondOf2008);
  Run();
  EXPECT_THAT(FilesBelow(destination_),
              ElementsAre("2008/Dec 31, 2008/first", "2009/Jan 01, 2009/second"));
}

TEST_F(RunByDate, ReportsUnreadableDate) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  WriteDated(root_ / "closed/target", kMarch2009);
  MakeLink(root_ / "closed/target", InSource("link"));
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod((root_ / "closed").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    Run();
    EXPECT_THAT(reports_, Contains(InSource("link") + ": not read, year, -5000"));
    EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
  }));
}

TEST_F(RunByDate, UsesCreationDate) {
  Set("TessaryType = 5\nFileOperation = 1\n");
  WriteDated(InSource("a"), kAugust2011);
  if (!SetAttribute(InSource("a"), "user.tessary.creation-date", "2009-03-04T11:04:05Z")) {
    GTEST_SKIP() << "needs extended attributes";
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
}

TEST_F(RunByDate, UsesCreationDateOfOriginal) {
  Set("TessaryType = 5\nFileOperation = 2\n");
  WriteDated(InSource("a"), kAugust2011);
  if (!SetAttribute(InSource("a"), "user.tessary.creation-date", "2009-03-04T11:04:05Z")) {
    GTEST_SKIP() << "needs extended attributes";
  }
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
  EXPECT_TRUE(Exists(InSource("a")));
}

TEST_F(RunByDate, SortsEveryPlainFolder) {
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

TEST_F(RunByDate, UsesGivenCopyFlag) {
  Set("FileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  AggregateByDate(RefAt(source_), RefAt(destination_), DateAttribute::NSFileModificationDate,
                  /*copy=*/true);
  EXPECT_TRUE(Exists(InSource("a")));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
}

TEST_F(RunByDate, ReportsEachStepOnce) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  MakeLink("nowhere", InSource("dangling"));
  WriteDated(InSource("b"), kAugust2011);
  WriteDated(InSource(".hidden"), kAugust2011);
  WriteFile(InDestination("2011"), "a file");
  Run();
  const std::string year = InDestination("2009");
  EXPECT_THAT(reports_,
              UnorderedElementsAre(
                  InSource("a") + ": filed, year, in " + year + ", as a",
                  year + "/a: filed, day, in " + year + "/Mar 04, 2009, as a",
                  InSource("dangling") + ": skipped, year",
                  InSource("b") + ": not transferred, year, -1407, in " + InDestination("2011")));
}

TEST_F(RunByDate, ReportsFailureInYearFolder) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InSource("a"), kMarch2009);
  // A dangling link has no date. The run leaves it there, under the name of the day folder.
  MakeLink("nowhere", InDestination("2009/Mar 04, 2009"));
  Run();
  const std::string year = InDestination("2009");
  EXPECT_THAT(reports_, UnorderedElementsAre(
                            InSource("a") + ": filed, year, in " + year + ", as a",
                            year + "/a: not transferred, day, -1407, in " + year + "/Mar 04, 2009",
                            year + "/Mar 04, 2009: skipped, day"));
  EXPECT_TRUE(Exists(InDestination("2009/a")));
  EXPECT_EQ(NotMovedLine(InDestination("2009/a"), InDestination("2009/Mar 04, 2009")),
            Messages().back());
}

TEST_F(RunByDate, SkipsBrokenLinkInYearFolder) {
  Set("TessaryType = 4\nRecurseFolders = true\n");
  WriteDated(InSource("sub/target"), kMarch2009);
  MakeLink("target", InSource("sub/link"));
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/target", "2009/link"));
  // Once for each of the two folders that the run visits.
  EXPECT_THAT(outcomes_[InDestination("2009/link")], ElementsAre(kSkippedItem, kSkippedItem));
}

TEST_F(RunByDate, ReportsItemInItsYear) {
  Set("TessaryType = 4\nFileOperation = 1\n");
  WriteDated(InDestination("2009/a"), kMarch2009);
  AggregateFolder(RefAt(InDestination("2009")), RefAt(destination_));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a"));
  const std::string year = InDestination("2009");
  EXPECT_THAT(reports_, ElementsAre(year + "/a: skipped, year, in " + year,
                                    year + "/a: filed, day, in " + year + "/Mar 04, 2009, as a"));
}

}  // namespace
}  // namespace tessary::test
