#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/programs/aggregate_fixture.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/tree_lines.h"

// The command "undo".
namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class UndoTest : public AggregateTest {
 protected:
  ProgramResult Undo(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), "undo");
    options.push_back(At("journal"));
    return Run(options);
  }

  // Runs with a journal.
  void File(std::vector<std::string> options) const {
    options.push_back("--journal=" + At("journal"));
    EXPECT_EQ(0, Aggregate(std::move(options)).status);
  }

  // Both folders. Folders have other dates after a run and its reversal.
  std::string Trees(bool hasHardLinks = true) const {
    const TreeAspects aspects = {
        .folderTimes = false, .hardLinks = hasHardLinks, .creationDates = false};
    return TreeText(At("source"), aspects) + TreeText(At("destination"), aspects);
  }

  // Files with sidecars, packages, folders and attributes.
  void FillWithAllKinds() const {
    FillSource();
    WriteFile(At("source/sub/a.txt"), "another");
    WriteFile(At("source/sub/deeper/b.jpg"), "jpg");
    WriteFile(At("source/pack.app/Contents/file"), "in a package");
    WriteFile(At("source/._a.txt"), "sidecar");
    SetAttribute(At("source/a.txt"), "user.xdg.comment", "comment");
    EXPECT_EQ(0, chmod(At("source/a.txt").c_str(), 0640));
    WriteFile(At("destination/txt/a.txt"), "already there");
  }

  // The counts of the last line, which are those of a dry run, too.
  static std::string SummaryIn(const std::string& output) {
    const size_t begin = output.rfind('\n', output.size() - 2) + 1;
    std::string line = output.substr(begin, output.find(" skipped in ", begin) - begin);
    for (size_t at; (at = line.find("would be ")) != std::string::npos;) line.erase(at, 9);
    return line;
  }

  void ExpectRestored(const std::vector<std::string>& options) {
    FillWithAllKinds();
    const std::string before = Trees();
    File(options);
    ASSERT_NE(before, Trees());
    const ProgramResult result = Undo();
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(before, Trees());
  }

  // Writes a journal whose changes are these lines.
  void WriteJournal(const std::string& lines) const {
    WriteFile(At("journal"),
              R"({"journal":1,"id":"40DFCCB2-2A2F-473B-BD6A-280CC8431FE0","source":")" +
                  At("source") + R"(","destination":")" + At("destination") + "\"}\n" + lines);
  }

  // A change line. The object is that at the path `from`.
  std::string ChangeLine(const std::string& kind, const std::string& from,
                         const std::string& to) const {
    const struct stat info = LstatAt(from);
    return R"({"change":1,"kind":")" + kind + R"(","from":")" + from + R"(","to":")" + to +
           R"(","sidecar":false,"object":{"type":"file","device":1,"inode":)" +
           std::to_string(info.st_ino) + R"(,"birth":0,"size":)" + std::to_string(info.st_size) +
           R"(,"modified":[)" + std::to_string(info.st_mtim.tv_sec) + "," +
           std::to_string(info.st_mtim.tv_nsec) + "]}}\n";
  }
};

TEST_F(UndoTest, RestoresMove) { ExpectRestored({"--move"}); }

TEST_F(UndoTest, RestoresMoveOfSubfolders) { ExpectRestored({"--move", "--recurse"}); }

TEST_F(UndoTest, RestoresCopy) { ExpectRestored({"--copy", "--recurse"}); }

TEST_F(UndoTest, RestoresMoveByDate) {
  ExpectRestored({"--move", "--recurse", "--kind=modification-date"});
}

TEST_F(UndoTest, RestoresCopyByDate) {
  ExpectRestored({"--copy", "--recurse", "--kind=modification-date"});
}

// A run by date into a folder of its source moves the originals of its copies, too, and moves items
// out of their day folders and back.
TEST_F(UndoTest, RestoresRunsByDateWithinSource) {
  for (const std::string operation : {"--copy", "--move"}) {
    SCOPED_TRACE(operation);
    for (const std::string path : {"sorted/Photos/a.txt", "sorted/2011/Aug 24, 2011/b"}) {
      WriteFile(At("source/" + path), path);
      SetModificationDate(At("source/" + path), 1314144000);
    }
    const std::string before = Trees();
    EXPECT_EQ(0, Run({"aggregate", operation, "--recurse", "--kind=modification-date",
                      "--journal=" + At("journal"), At("source"), At("source/sorted")})
                     .status);
    ASSERT_NE(before, Trees());
    const ProgramResult dryRun = Undo({"--dry-run"});
    const ProgramResult result = Undo();
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(SummaryIn(result.output), SummaryIn(dryRun.output));
    EXPECT_EQ(before, Trees());
    fs::remove(At("journal"));
  }
}

TEST_F(UndoTest, RestoresMoveAcrossFilesystems) {
  const MemoryVolume other("size=4m");
  if (!other.IsMounted()) GTEST_SKIP() << "this process may not mount";
  FillWithAllKinds();
  // The links of a file become separate files on another filesystem.
  const std::string before = Trees(/*hasHardLinks=*/false);
  EXPECT_EQ(0, Run({"aggregate", "--move", "--recurse", "--journal", At("journal"), At("source"),
                    other / "made"})
                   .status);
  ASSERT_NE(before, Trees(/*hasHardLinks=*/false));
  EXPECT_EQ(0, Undo().status);
  EXPECT_EQ(before, Trees(/*hasHardLinks=*/false));
  EXPECT_THAT(NamesIn(other.path()), IsEmpty());
}

TEST_F(UndoTest, PrintsSummary) {
  FillSource();
  File({"--move"});
  EXPECT_THAT(Undo().output,
              StartsWith("6 moved back, 0 copies deleted, 1 folder removed, 0 skipped in "));
}

TEST_F(UndoTest, SecondDoesNothing) {
  FillWithAllKinds();
  File({"--move"});
  EXPECT_EQ(0, Undo().status);
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Undo();
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output,
              StartsWith("0 moved back, 0 copies deleted, 0 folders removed, 0 skipped in "));
  EXPECT_EQ(before, DescribeTree(At("")));
}

TEST_F(UndoTest, DryRunListsAndChangesNothing) {
  WriteFile(At("source/a.txt"));
  File({"--move"});
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Undo({"--dry-run"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("would move back \"" + At("destination/txt/a.txt") +
                                        "\" to \"" + At("source/a.txt") + "\"\nwould remove \"" +
                                        At("destination/txt") + "\"\n1 would be moved back, "));
  EXPECT_EQ(before, DescribeTree(At("")));
}

TEST_F(UndoTest, SkipsWhatOthersChanged) {
  for (const char* name : {"changed", "gone", "replaced", "used", "ok"}) {
    WriteFile(At("source/" + std::string(name) + ".txt"), name);
  }
  File({"--move"});
  const std::string folder = At("destination/txt/");
  WriteFile(folder + "changed.txt", "other contents");
  fs::remove(folder + "gone.txt");
  fs::copy_file(folder + "replaced.txt", folder + "copy");
  fs::rename(folder + "copy", folder + "replaced.txt");
  WriteFile(At("source/used.txt"), "new");
  const ProgramResult result = Undo();
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output,
              StartsWith("1 moved back, 0 copies deleted, 0 folders removed, 5 skipped in "));
  EXPECT_THAT(result.Problems(),
              testing::UnorderedElementsAre(
                  "skipped \"" + folder + "changed.txt\": it has changed since the run",
                  "skipped \"" + folder + "gone.txt\": it is not there any more",
                  "skipped \"" + folder + "replaced.txt\": it has changed since the run",
                  "skipped \"" + folder +
                      "used.txt\": another file has its old name: " + At("source/used.txt"),
                  "skipped \"" + At("destination/txt") + "\": the folder is not empty"));
  EXPECT_EQ("new", ReadFile(At("source/used.txt")));
  EXPECT_EQ("used", ReadFile(folder + "used.txt"));
}

TEST_F(UndoTest, KeepsCopyWithoutUnchangedOriginal) {
  for (const char* name : {"changed", "gone", "ok"}) {
    WriteFile(At("source/" + std::string(name) + ".txt"), name);
    SetModificationDate(At("source/" + std::string(name) + ".txt"), kMarch2009);
  }
  File({"--copy"});
  // The same size and date, but other contents.
  WriteFile(At("source/changed.txt"), "CHANGED");
  SetModificationDate(At("source/changed.txt"), kMarch2009);
  fs::remove(At("source/gone.txt"));
  const ProgramResult result = Undo();
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/changed.txt", "txt/gone.txt"));
  EXPECT_THAT(result.errors, HasSubstr("txt/gone.txt\": its original is gone or has changed: "));
}

TEST_F(UndoTest, KeepsCopiedPackageThatWasChangedInside) {
  WriteFile(At("source/a.app/Contents/file"), "contents");
  WriteFile(At("source/b.app/Contents/file"), "contents");
  File({"--copy"});
  WriteFile(At("destination/app/a.app/Contents/file"), "Contents");
  EXPECT_EQ(3, Undo().status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("app/a.app/Contents/file"));
}

TEST_F(UndoTest, CountsReplacedItems) {
  WriteFile(At("source/a.txt"), "new");
  WriteFile(At("source/b.txt"), "new");
  WriteFile(At("destination/txt/a.txt"), "old");
  WriteFile(At("destination/txt/b.txt"), "old");
  File({"--move", "--replace"});
  const ProgramResult result = Undo();
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre("2 replaced items cannot be restored"));
  EXPECT_THAT(result.output, HasSubstr("2 moved back, "));
  EXPECT_THAT(NamesIn(At("source")), ElementsAre("a.txt", "b.txt"));
}

TEST_F(UndoTest, KeepsSidecarOfAnotherItem) {
  WriteFile(At("source/a.txt"));
  File({"--move"});
  WriteFile(At("destination/txt/._a.txt"), "of another item");
  EXPECT_EQ(3, Undo().status);
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/._a.txt"));
  EXPECT_THAT(NamesIn(At("source")), ElementsAre("a.txt"));
}

TEST_F(UndoTest, RefusedWhileJournalIsInUse) {
  WriteFile(At("source/a.txt"));
  File({"--move"});
  const UniqueFd journal(open(At("journal").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(0, flock(journal.get(), LOCK_EX));
  ExpectError({"undo", At("journal")}, ": the journal is in use by another process");
}

TEST_F(UndoTest, FollowsNoPlantedLink) {
  WriteFile(At("source/sub/a.txt"));
  File({"--move", "--recurse"});
  fs::rename(At("source/sub"), At("elsewhere"));
  MakeLink(At("elsewhere"), At("source/sub"));
  const ProgramResult result = Undo();
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.errors, HasSubstr("a folder in its path is a symbolic link now"));
  EXPECT_THAT(NamesIn(At("elsewhere")), IsEmpty());
  EXPECT_THAT(FilesBelow(At("destination")), ElementsAre("txt/a.txt"));
}

TEST_F(UndoTest, RefusesWhatIsNotAJournal) {
  WriteFile(At("empty"));
  WriteFile(At("text"), "text\n");
  WriteFile(At("long"), std::string((1U << 20) + 1, 'x') + "\n");
  WriteFile(At("deep"), std::string(100'000, '[') + "\n");
  EXPECT_EQ(0, mkfifo(At("fifo").c_str(), 0600));
  ExpectError({"undo", At("missing")}, ": No such file or directory");
  ExpectError({"undo", At("empty")}, ": not a journal");
  ExpectError({"undo", At("text")}, ": not a journal");
  ExpectError({"undo", At("deep")}, ": not a journal");
  ExpectError({"undo", At("long")}, ": line 1 is too long");
  ExpectError({"undo", At("fifo")}, ": not a regular file");
  ExpectError({"undo", At("source")}, ": not a regular file");
}

TEST_F(UndoTest, RefusesPathsOutsideOfBothFolders) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("destination/txt/a.txt"));
  WriteFile(At("outside.txt"));
  const std::string good = At("source/a.txt");
  const std::string goodTarget = At("destination/txt/a.txt");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {At("outside.txt"), goodTarget},
      {good, At("outside.txt")},
      {good, At("destination/../outside.txt")},
      {good, At("destination/./txt/a.txt")},
      {good, At("destination//txt/a.txt")},
      {good, At("destination")},
      {At("source"), goodTarget},
      {good, At("destinationelsewhere")},
  };
  for (const auto& [from, to] : rows) {
    WriteJournal(ChangeLine("moved", good, to));
    if (from != good) {
      WriteJournal(ChangeLine("moved", from, to));
    }
    ExpectError({"undo", At("journal")}, ": line 2 is not valid");
  }
  // The last line may be incomplete: its change was not made.
  WriteJournal("{\"change\":1,");
  EXPECT_EQ(0, Undo().status);
}

// Through a bind mount, source and destination are the same folder: the "copy" is the original.
TEST_F(UndoTest, NeverDeletesTheOnlyName) {
  WriteFile(At("source/a.txt"), "the only copy");
  WriteFile(At("source/b.app/file"), "the only copy");
  WriteJournal(ChangeLine("copied", At("source/a.txt"), At("destination/a.txt")));
  const ProgramSetup mounted = {.bindSource = At("source"), .bindTarget = At("destination")};
  const ProgramResult result = Run({"undo", At("journal")}, mounted);
  if (result.status == kCannotStart) GTEST_SKIP() << "this process may not mount";
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("the only copy", ReadFile(At("source/a.txt")));
}

// A crafted journal: the "copy" has the same size and date as the "original", but other contents.
TEST_F(UndoTest, NeverDeletesOtherContents) {
  WriteFile(At("source/a.txt"), "one");
  WriteFile(At("destination/a.txt"), "two");
  SetModificationDate(At("source/a.txt"), kMarch2009);
  SetModificationDate(At("destination/a.txt"), kMarch2009);
  for (const char* kind : {"copied", "moved"}) {
    WriteJournal(ChangeLine(kind, At("source/a.txt"), At("destination/a.txt")));
    EXPECT_EQ(1, Undo().status);
    EXPECT_EQ("two", ReadFile(At("destination/a.txt")));
  }
}

TEST_F(UndoTest, EndsWithCyclicMoves) {
  WriteFile(At("destination/a"));
  WriteFile(At("destination/b"));
  std::string second = ChangeLine("moved", At("destination/b"), At("destination/a"));
  second.replace(second.find("\"change\":1"), 10, "\"change\":2");
  WriteJournal(ChangeLine("moved", At("destination/a"), At("destination/b")) + second);
  EXPECT_NE(kCannotStart, Undo().status);
  EXPECT_THAT(NamesIn(At("destination")), ElementsAre("a", "b"));
}

}  // namespace
}  // namespace tessary::test
