#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/programs/aggregate_fixture.h"
#include "tests/support/file_operations.h"
#include "tests/support/volumes.h"

// Dry runs: they change nothing, and say what the run then does.
namespace tessary::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

std::string WithoutUuids(const std::string& text) {
  static const std::regex kUuid("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
  return std::regex_replace(text, kUuid, "UUID");
}

// The lines without UUIDs, sorted: in a run by date their order depends on the filesystem.
std::vector<std::string> Comparable(std::vector<std::string> lines) {
  for (std::string& line : lines) line = WithoutUuids(line);
  std::ranges::sort(lines);
  return lines;
}

// The summary without the time and in the words of a real run.
std::string ComparableSummary(const std::string& output) {
  std::string text = std::regex_replace(output, std::regex(" in [0-9.]+ s\n"), "\n");
  text = std::regex_replace(text, std::regex("would not be moved"), "not moved");
  text = std::regex_replace(text, std::regex("would be (filed|moved)"), "$1");
  text = std::regex_replace(text, std::regex("(was|were) (not )?moved"), "$2moved");
  return std::regex_replace(text, std::regex("would fail"), "failed");
}

class DryRun : public AggregateTest {
 protected:
  // Makes a dry run, which has to leave everything as it is, and then the run, which has to report
  // the same. Returns the result of the dry run.
  ProgramResult ExpectSameAsRun(std::vector<std::string> options, ProgramSetup setup = {}) {
    std::vector<std::string> dryOptions = options;
    dryOptions.emplace_back("--dry-run");
    const std::vector<std::string> before = DescribeTree(At(""));
    ProgramResult dry = Aggregate(dryOptions, setup);
    EXPECT_EQ(before, DescribeTree(At("")));
    const ProgramResult real = Aggregate(options, setup);
    EXPECT_EQ(real.status, dry.status);
    EXPECT_EQ(Comparable(real.LogMessages()), Comparable(dry.LogMessages()));
    EXPECT_EQ(Comparable(real.Problems()), Comparable(dry.Problems()));
    EXPECT_EQ(ComparableSummary(real.output), ComparableSummary(dry.output));
    return dry;
  }

  void SetMode(const std::string& name, mode_t mode) const {
    EXPECT_EQ(0, chmod(At(name).c_str(), mode)) << name;
  }

  // Gives a folder to the ordinary user.
  void GiveAway(const std::string& name) const {
    EXPECT_EQ(0, chown(At(name).c_str(), 65534, 65534)) << name;
  }
};

TEST_F(DryRun, ReportsRunOfEachKind) {
  FillSource();
  WriteFile(At("source/sub/a.txt"), "another a");
  SetModificationDate(At("source/sub/a.txt"), kMarch2009);
  WriteFile(At("destination/txt/a.txt"), "existing");
  WriteFile(At("destination/2009/a.txt"), "existing, by date");
  SetModificationDate(At("destination/2009/a.txt"), kMarch2009);
  for (const std::string kind : {"extension", "mime-type", "file-type", "modification-date"}) {
    ExpectSameAsRun({"--recurse", "--kind", kind});
    ExpectSameAsRun({"--recurse", "--replace", "--kind", kind});
  }
  const ProgramResult dry =
      ExpectSameAsRun({"--recurse", "--move", "--replace", "--kind", "modification-date"});
  EXPECT_THAT(dry.output, StartsWith("7 would be filed, 1 skipped, 0 would fail in "));
}

TEST_F(DryRun, CreatesNoDestination) {
  FillSource();
  const std::string missing = At("missing");
  const ProgramResult dry = Run({"aggregate", "--dry-run", At("source"), missing});
  EXPECT_EQ(0, dry.status);
  EXPECT_THAT(dry.output, StartsWith("6 would be filed, 1 skipped, 0 would fail in "));
  EXPECT_FALSE(Exists(missing));
  ExpectError({"aggregate", "--dry-run", At("source"), missing + "/below"},
              "cannot create the folder in " + missing);
}

TEST_F(DryRun, MakesNoChangingCall) {
  if (!CanCountCalls()) GTEST_SKIP() << "no process may trace another one here";
  FillSource();
  const std::string uuid = "01234567-89AB-CDEF-0123-456789ABCDEF";
  for (const std::string name : {"b.jpg", "._b.jpg", "sub/a.txt", "p.app/Contents/f"}) {
    WriteFile(At("source/" + name));
  }
  EXPECT_TRUE(SetAttribute(At("source/b.jpg"), "user.xdg.comment", "comment"));
  for (const std::string folder : {"source/", "destination/", "destination/txt/"}) {
    WriteFile(At(folder + ".tessary-" + uuid));
    WriteFile(At(folder + ".tessary-pair-" + uuid));
  }
  WriteFile(At("destination/txt/a.txt"), "existing");
  CallCounts calls;
  for (const std::string operation : {"--copy", "--move"}) {
    for (const std::string kind : {"extension", "modification-date"}) {
      const std::vector<std::string> before = DescribeTree(At(""));
      const ProgramResult result = Aggregate(
          {"--dry-run", "--recurse", "--replace", "--preserve-comments", operation, "--kind", kind},
          {.calls = &calls});
      EXPECT_EQ(0, result.status) << result.errors;
      EXPECT_EQ(before, DescribeTree(At("")));
    }
  }
  for (const auto& [call, count] : calls) {
    EXPECT_THAT(call, testing::Not(testing::ContainsRegex(
                          "^(unlink|rename|link|symlink|mk|truncate|ftruncate|fallocate|f?chmod|"
                          "f?chown|f?setxattr|f?removexattr|utimensat|copy_file_range|sendfile|"
                          "pwrite|fsync|openat E(ROFS|EXIST))")))
        << count;
  }
}

TEST_F(DryRun, ForeseesMissingPermissions) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to another user";
  for (const std::string name : {"a.txt", "b.jpg", "c.pdf", "closed/d.txt", "secret.txt"}) {
    WriteFile(At("source/" + name));
  }
  WriteFile(At("source/own.app/inside"));
  WriteFile(At("source/other.app/inside"));
  WriteFile(At("destination/jpg/b.jpg"), "existing");
  MakeFolder(At("destination/pdf"));
  OpenToOrdinaryUser();
  for (const std::string name : {"source", "destination", "source/own.app", "destination/pdf"}) {
    GiveAway(name);
  }
  SetMode("source/secret.txt", 0);
  SetMode("destination/jpg", 0555);
  SetMode("source/closed", 0555);
  const ProgramSetup ordinary = {.isOrdinaryUser = true};
  const ProgramResult copy = ExpectSameAsRun({"--recurse", "--copy", "--replace"}, ordinary);
  EXPECT_EQ(3, copy.status);
  EXPECT_THAT(copy.LogMessages(), Contains("unlink error: Permission denied"));
  const ProgramResult move = ExpectSameAsRun({"--recurse", "--move"}, ordinary);
  EXPECT_THAT(move.Problems(), Contains(HasSubstr("closed/d.txt: cannot move")));
  EXPECT_THAT(move.Problems(), Contains(HasSubstr("other.app: cannot move")));
  EXPECT_THAT(move.output, StartsWith("4 would be filed, 0 skipped, 3 would fail in "));
}

TEST_F(DryRun, ForeseesClosedDestination) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to another user";
  FillSource();
  OpenToOrdinaryUser();
  SetMode("destination", 0555);
  ExpectSameAsRun({}, {.isOrdinaryUser = true});
  const ProgramResult dry = ExpectSameAsRun({"--move"}, {.isOrdinaryUser = true});
  EXPECT_THAT(dry.output, StartsWith("0 would be filed, 1 skipped, 6 would fail in "));
}

TEST_F(DryRun, ForeseesStickyFolders) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to another user";
  for (const std::string name : {"own.txt", "other.txt", "b.jpg"}) WriteFile(At("source/" + name));
  WriteFile(At("destination/jpg/b.jpg"), "existing");
  OpenToOrdinaryUser();
  GiveAway("source/own.txt");
  GiveAway("source/b.jpg");
  SetMode("source", 01777);
  SetMode("destination", 0777);
  SetMode("destination/jpg", 01777);
  const ProgramResult dry = ExpectSameAsRun({"--move", "--replace"}, {.isOrdinaryUser = true});
  EXPECT_THAT(dry.output, StartsWith("2 would be filed, 0 skipped, 1 would fail in "));
  EXPECT_THAT(dry.LogMessages(), Contains("unlink error: Operation not permitted"));
}

TEST_F(DryRun, ForeseesObstacles) {
  const std::string longName = std::string(251, 'n') + ".txt";
  WriteFile(At("source/" + longName));
  WriteFile(At("destination/txt/" + longName), "existing");
  WriteFile(At("source/full.app/inside"));
  WriteFile(At("destination/app/full.app/other"), "existing");
  MakeFolder(At("source/empty.app"));
  MakeFolder(At("destination/app/empty.app"));
  WriteFile(At("source/b.jpg"));
  WriteFile(At("destination/jpg"), "a file has the name of the key");
  WriteFile(At("source/c." + std::string(250, 'x')));
  WriteFile(At("source/..."));
  ASSERT_EQ(0, mkfifo(At("source/fifo.gz").c_str(), 0600));
  WriteFile(At("source/with.bundle/inside"));
  ASSERT_EQ(0, mkfifo(At("source/with.bundle/fifo").c_str(), 0600));
  ExpectSameAsRun({"--copy"});
  ExpectSameAsRun({"--copy", "--replace"});
  const ProgramResult dry = ExpectSameAsRun({"--move", "--replace"});
  EXPECT_THAT(dry.LogMessages(), Contains("unlink error: Is a directory"));
}

// The source contains the destination, and a package that does so.
TEST_F(DryRun, ForeseesFolderIntoItself) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("source/b.app/inside"));
  MakeFolder(At("source/b.app/destination"));
  for (const std::string operation : {"--copy", "--move"}) {
    const std::vector<std::string> arguments = {"aggregate", operation, At("source"),
                                                At("source/b.app/destination")};
    std::vector<std::string> dryArguments = arguments;
    dryArguments.emplace_back("--dry-run");
    const ProgramResult dry = Run(dryArguments);
    const ProgramResult real = Run(arguments);
    EXPECT_EQ(Comparable(real.LogMessages()), Comparable(dry.LogMessages()));
    EXPECT_THAT(dry.LogMessages(), Contains("An error occurred: -122"));
  }
}

TEST_F(DryRun, MovesSidecarsWithItems) {
  for (const std::string name : {"a.txt", "._a.txt", "sub/a.txt", "sub/._a.txt", "b.txt"}) {
    WriteFile(At("source/" + name), name);
  }
  WriteFile(At("destination/txt/._b.txt"), "orphaned");
  ExpectSameAsRun({"--recurse"});
  ExpectSameAsRun({"--recurse", "--replace"});
  const ProgramResult dry = ExpectSameAsRun({"--recurse", "--move"});
  EXPECT_THAT(dry.output, StartsWith("3 would be filed, 0 skipped, 0 would fail in "));
}

// The day of a link is that of its target, which the year step has moved, or moved away from it.
TEST_F(DryRun, FollowsLinksWhereTheyWouldLead) {
  WriteFile(At("source/photo.jpg"));
  SetModificationDate(At("source/photo.jpg"), kMarch2009);
  MakeLink("photo.jpg", At("source/sub/dangling"));
  MakeLink("../photo.jpg", At("source/sub/link"));
  MakeLink("../sub/link", At("source/sub/second"));
  MakeLink(At("source/photo.jpg"), At("source/sub/absolute"));
  MakeLink("loop", At("source/sub/loop"));
  ExpectSameAsRun({"--recurse", "--kind", "modification-date"});
  const ProgramResult dry = ExpectSameAsRun({"--recurse", "--move", "--kind", "modification-date"});
  EXPECT_THAT(dry.output, StartsWith("2 would be filed, 4 skipped, 0 would fail in "));
}

TEST_F(DryRun, ComparesSpaceOnce) {
  const ScratchVolume volume(VolumeKind::kTmpfs, "size=1m");
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  for (const std::string name : {"a.txt", "b.txt"}) {
    WriteFile(At("source/" + name), std::string(800'000, 'x'));
  }
  const ProgramResult dry = Run({"aggregate", "--dry-run", At("source"), volume / "new"});
  EXPECT_EQ(3, dry.status);
  EXPECT_THAT(dry.Problems(),
              testing::ElementsAre(testing::ContainsRegex("new: not enough space: needs 1\\.6 MB, "
                                                          "[0-9.]+ [kM]B are free$")));
  EXPECT_THAT(dry.output, StartsWith("2 would be filed, 0 skipped, 0 would fail in "));
}

TEST_F(DryRun, CountsSpaceOfReplacedFiles) {
  const ScratchVolume volume(VolumeKind::kTmpfs, "size=1m");
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  WriteFile(At("source/a.txt"), std::string(800'000, 'x'));
  WriteFile(volume / "txt/a.txt", std::string(700'000, 'x'));
  EXPECT_EQ(3, Run({"aggregate", "--dry-run", At("source"), volume.path()}).status);
  EXPECT_EQ(0, Run({"aggregate", "--dry-run", "--replace", At("source"), volume.path()}).status);
  // The copy of one file replaces that of the other.
  WriteFile(At("source/more/a.txt"), std::string(800'000, 'x'));
  EXPECT_EQ(0,
            Run({"aggregate", "--dry-run", "--recurse", "--replace", At("source"), volume.path()})
                .status);
}

TEST_F(DryRun, ForeseesReadOnlyFilesystem) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  FillSource();
  WriteFile(At("destination/txt/a.txt"), "existing");
  for (const std::string name : {"source", "destination"}) {
    const std::string path = At(name);
    ASSERT_EQ(0, mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, path.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
    for (const std::string operation : {"--copy", "--move"}) {
      ExpectSameAsRun({operation, "--replace"});
    }
    EXPECT_EQ(0, umount2(path.c_str(), MNT_DETACH));
  }
}

}  // namespace
}  // namespace tessary::test
