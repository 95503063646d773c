#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"

// Runs with --journal.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class JournalTest : public AggregateTest {
 protected:
  ProgramResult AggregateWithJournal(std::vector<std::string> options, ProgramSetup setup = {}) {
    options.push_back("--journal=" + At("journal"));
    return Aggregate(std::move(options), std::move(setup));
  }

  // The number of lines of the journal that match the expression.
  size_t CountLines(const std::string& expression) const {
    const std::string text = ReadFile(At("journal"));
    const std::regex regex(expression);
    return static_cast<size_t>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), regex), {}));
  }
};

TEST_F(JournalTest, RecordsEachChange) {
  FillSource();
  EXPECT_EQ(0, AggregateWithJournal({"--move"}).status);
  EXPECT_EQ(1U, CountLines(R"(\{"destination":"[^"]*/destination",.*"journal":1,)"));
  EXPECT_EQ(1U, CountLines(R"("kind":"created","to":"[^"]*/destination/txt"\})"));
  EXPECT_EQ(6U, CountLines(R"("kind":"moved")"));
  EXPECT_EQ(1U, CountLines(R"("from":"[^"]*/source/new\\nline.txt")"));
  EXPECT_EQ(1U, CountLines(R"("from":\{"percentEncoded":"[^"]*/source/caf%E9.txt"\})"));
  EXPECT_EQ(1U, CountLines(R"(\{"end":"[^"]*"\}\n$)"));
  EXPECT_EQ(0U, CountLines(R"("failed")"));
}

TEST_F(JournalTest, RecordsCopiesWithTheirResults) {
  FillSource();
  EXPECT_EQ(0, AggregateWithJournal({"--copy"}).status);
  EXPECT_EQ(6U, CountLines(R"("kind":"copied")"));
  // Of the folder and of the copies.
  EXPECT_EQ(7U, CountLines(R"("result":[0-9]+\})"));
}

// The fast path, which keeps the name, is not announced: a killed run must not seem to have made
// the file that existed.
TEST_F(JournalTest, RecordsOneChangeIfNameExists) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  EXPECT_EQ(0, AggregateWithJournal({"--move"}).status);
  EXPECT_EQ(1U, CountLines(R"("kind":"moved")"));
  EXPECT_EQ(0U, CountLines(R"("failed")"));
}

TEST_F(JournalTest, RecordsReplacedItem) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  const ProgramResult result = AggregateWithJournal({"--move", "--replace"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ(1U, CountLines(R"("kind":"deleted")"));
  EXPECT_THAT(result.Problems(),
              ElementsAre("existing files are replaced, which undo cannot reverse"));
}

TEST_F(JournalTest, RecordsCreatedDestination) {
  WriteFile(At("source/a.txt"));
  std::filesystem::remove(At("destination"));
  EXPECT_EQ(0, AggregateWithJournal({}).status);
  EXPECT_EQ(1U, CountLines(R"("kind":"created","to":"[^"]*/destination"\})"));
}

TEST_F(JournalTest, IsPrivateAndNeverOverwritten) {
  WriteFile(At("source/a.txt"));
  EXPECT_EQ(0, AggregateWithJournal({}).status);
  EXPECT_EQ(0600U, LstatAt(At("journal")).st_mode & 07777U);
  ExpectError({"aggregate", "--journal", At("journal"), At("source"), At("destination")},
              At("journal") + ": cannot create the journal: File exists");
}

TEST_F(JournalTest, MustBeOutsideOfBothFolders) {
  WriteFile(At("source/a.txt"));
  const std::string reason = ": the journal must not be in the source or the destination";
  for (const char* journal :
       {"source/journal", "destination/journal", "source/../source/journal"}) {
    ExpectError({"aggregate", "--journal", At(journal), At("source"), At("destination")},
                At(journal) + reason);
  }
  ExpectError({"aggregate", "--journal", At("missing/j"), At("source"), At("made")},
              ": cannot create the journal: No such file or directory");
}

TEST_F(JournalTest, FullDiskEndsRunAfterItem) {
  MemoryVolume volume("size=8k");
  if (!volume.IsMounted()) GTEST_SKIP() << "this process may not mount";
  for (int i = 0; i < 60; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"));
  const ProgramResult result = Aggregate({"--move", "--journal=" + (volume / "journal")});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.errors, HasSubstr(volume / "journal" + ": cannot write the journal: "));
  EXPECT_THAT(result.output, StartsWith(std::to_string(FilesBelow(At("destination")).size()) +
                                        " filed, 0 skipped, 1 failed in "));
  EXPECT_EQ(60U, FilesBelow(At("destination")).size() + NamesIn(At("source")).size());
  EXPECT_THAT(NamesIn(At("source")), testing::Not(IsEmpty()));
  // Every change is recorded.
  EXPECT_EQ(0, Run({"undo", volume / "journal"}).status);
  EXPECT_EQ(60U, NamesIn(At("source")).size());
  EXPECT_THAT(NamesIn(At("destination")), IsEmpty());
}

TEST_F(JournalTest, UnwritableAtStartStopsRun) {
  MemoryVolume volume("size=4k");
  if (!volume.IsMounted()) GTEST_SKIP() << "this process may not mount";
  WriteFile(volume / "filler", std::string(4096, 'x'));
  WriteFile(At("source/a.txt"));
  ExpectError({"aggregate", "--journal", volume / "journal", At("source"), At("made")},
              ": cannot create the journal: No space left on device");
}

}  // namespace
}  // namespace tessary::test
