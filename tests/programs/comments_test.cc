#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tests/programs/program.h"

// Comments, from the attribute of a source file to that of the moved or copied file.
namespace tessary::test {
namespace {

using testing::Contains;
using testing::Not;

constexpr char kAttribute[] = "user.xdg.comment";

std::optional<std::string> CommentAt(const std::string& path) {
  std::string text(70000, '\0');
  const ssize_t size = lgetxattr(path.c_str(), kAttribute, text.data(), text.size());
  if (size < 0) return std::nullopt;
  text.resize(static_cast<size_t>(size));
  return text;
}

// Where source and destination are: on the disk of the tests or in memory.
struct Locations {
  const char* name;
  bool isSourceInMemory;
  bool isDestinationInMemory;
};

class Comments : public ProgramTest, public testing::WithParamInterface<Locations> {
 protected:
  Comments()
      : memory_("/dev/shm"),
        source_(FolderIn(GetParam().isSourceInMemory, "source")),
        destination_(FolderIn(GetParam().isDestinationInMemory, "destination")) {
    MakeFolder(source_);
    MakeFolder(destination_);
  }

  void SetUp() override {
    WriteFile(memory_ / "probe");
    WriteFile(At("probe"));
    if (!SetAttribute(memory_ / "probe", kAttribute, "x") ||
        !SetAttribute(At("probe"), kAttribute, "x")) {
      GTEST_SKIP() << "needs attributes in /dev/shm and in the tests' folder";
    }
  }

  std::string Source(const std::string& name) const { return source_ + "/" + name; }
  std::string InDestination(const std::string& name) const { return destination_ + "/" + name; }

  void WriteCommented(const std::string& name, const std::string& comment) const {
    WriteFile(Source(name), "contents");
    ASSERT_TRUE(SetAttribute(Source(name), kAttribute, comment)) << name;
  }

  ProgramResult RunAggregate(std::vector<std::string> options,
                             const ProgramSetup& setup = {}) const {
    options.insert(options.begin(), "aggregate");
    options.insert(options.end(), {source_, destination_});
    return Run(options, setup);
  }

  bool CrossesDevices() const {
    return GetParam().isSourceInMemory != GetParam().isDestinationInMemory;
  }

  std::string FolderIn(bool isInMemory, const std::string& name) const {
    return isInMemory ? memory_ / name : At(name);
  }

  const TemporaryFolder memory_;
  const std::string source_;
  const std::string destination_;
};

INSTANTIATE_TEST_SUITE_P(OnDiskAndInMemory, Comments,
                         testing::Values(Locations{"Disk", false, false},
                                         Locations{"Memory", true, true},
                                         Locations{"DiskToMemory", false, true},
                                         Locations{"MemoryToDisk", true, false}),
                         [](const auto& row) { return row.param.name; });

TEST_P(Comments, AreCopiedOnRequestOnly) {
  WriteCommented("a.txt", "caf\xC3\xA9");
  EXPECT_EQ(0, RunAggregate({"--copy"}).status);
  EXPECT_EQ(std::nullopt, CommentAt(InDestination("txt/a.txt")));
  WriteCommented("b.md", "caf\xC3\xA9");
  EXPECT_EQ(0, RunAggregate({"--copy", "--preserve-comments", "--replace"}).status);
  EXPECT_EQ("caf\xC3\xA9", CommentAt(InDestination("txt/a.txt")));
  EXPECT_EQ("caf\xC3\xA9", CommentAt(InDestination("md/b.md")));
  EXPECT_EQ("caf\xC3\xA9", CommentAt(Source("a.txt")));
  EXPECT_EQ("contents", ReadFile(InDestination("txt/a.txt")));
}

TEST_P(Comments, AreAlwaysMoved) {
  WriteCommented("a.txt", "of a");
  EXPECT_EQ(0, RunAggregate({"--move"}).status);
  EXPECT_EQ("of a", CommentAt(InDestination("txt/a.txt")));
  WriteCommented("b.txt", "of b");
  EXPECT_EQ(0, RunAggregate({"--move", "--preserve-comments"}).status);
  EXPECT_EQ("of b", CommentAt(InDestination("txt/b.txt")));
  EXPECT_FALSE(Exists(Source("a.txt")));
  EXPECT_FALSE(Exists(Source("b.txt")));
}

TEST_P(Comments, AreCopiedIfStoredSettingIsFalse) {
  struct Row {
    const char* preferences;
    std::optional<std::string> comment;
  };
  const std::array rows = {
      Row{"", std::nullopt},
      Row{"PreserveComments = true\n", std::nullopt},
      Row{"PreserveComments = false\n", "text"},
  };
  WriteCommented("a.txt", "text");
  for (const Row& row : rows) {
    WriteFile(PreferencesPath(), row.preferences);
    EXPECT_EQ(0, RunAggregate({"--copy", "--replace"}).status) << row.preferences;
    EXPECT_EQ(row.comment, CommentAt(InDestination("txt/a.txt"))) << row.preferences;
  }
}

TEST_P(Comments, AreCopiedByteByByte) {
  std::string text;
  for (int i = 0; i < 1300; ++i) text += "\xE3\x81\x82";
  text += "\xF0\x9F\x98\x80 \xFF\xED\xA0\x80";
  WriteCommented("characters.txt", text);
  WriteCommented("empty.txt", "");
  WriteCommented("caf\xE9:x\ny.txt", "\xED\xB0\x80\n");
  WriteFile(Source("none.txt"));
  EXPECT_EQ(0, RunAggregate({"--copy", "--preserve-comments"}).status);
  EXPECT_EQ(text, CommentAt(InDestination("txt/characters.txt")));
  EXPECT_EQ("", CommentAt(InDestination("txt/empty.txt")));
  EXPECT_EQ("\xED\xB0\x80\n", CommentAt(InDestination("txt/caf\xE9:x\ny.txt")));
  EXPECT_EQ(std::nullopt, CommentAt(InDestination("txt/none.txt")));
}

// 12,000 bytes: more than ext4 stores by default, less than tmpfs does.
TEST_P(Comments, AreCopiedWholeOrNotAtAll) {
  std::string text;
  for (int i = 0; i < 4000; ++i) text += "\xE3\x81\x82";
  WriteFile(Source("a.txt"), "contents");
  if (!SetAttribute(Source("a.txt"), kAttribute, text)) {
    GTEST_SKIP() << "the source filesystem stores no comment of that size";
  }
  const bool fits = SetAttribute(InDestination("."), kAttribute, text);
  const ProgramResult result = RunAggregate({"--copy", "--preserve-comments"});
  EXPECT_EQ("contents", ReadFile(InDestination("txt/a.txt")));
  EXPECT_THAT(result.LogMessages(), Contains("Moved \"a.txt\" to \"txt\""));
  const std::string failureLine = "The file \"" + Source("a.txt") + "\" could not be moved to \"" +
                                  InDestination("txt") +
                                  "\". A file by the same name may exists there already.";
  if (fits) {
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(text, CommentAt(InDestination("txt/a.txt")));
    EXPECT_THAT(result.LogMessages(), Not(Contains(failureLine)));
  } else {
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(std::nullopt, CommentAt(InDestination("txt/a.txt")));
    EXPECT_THAT(result.LogMessages(), Contains(failureLine));
    EXPECT_TRUE(result.output.starts_with("0 filed, 0 skipped, 1 failed")) << result.output;
  }
  EXPECT_EQ(text, CommentAt(Source("a.txt")));
}

// A move keeps the comment or fails.
TEST_P(Comments, StopAMoveIfTheyDoNotFit) {
  const std::string text(50000, 'x');
  WriteFile(Source("a.txt"), "contents");
  if (!SetAttribute(Source("a.txt"), kAttribute, text) ||
      SetAttribute(InDestination("."), kAttribute, text)) {
    GTEST_SKIP() << "needs a source that can store the comment and a destination that cannot";
  }
  const ProgramResult result = RunAggregate({"--move", "--preserve-comments"});
  EXPECT_EQ(3, result.status);
  EXPECT_EQ("contents", ReadFile(Source("a.txt")));
  EXPECT_EQ(text, CommentAt(Source("a.txt")));
  EXPECT_FALSE(Exists(InDestination("txt/a.txt")));
  EXPECT_THAT(result.LogMessages(), Contains("An error occurred: -34"));
}

TEST_P(Comments, OfPackages) {
  WriteFile(Source("Some.app/Contents/inside"));
  ASSERT_TRUE(SetAttribute(Source("Some.app"), kAttribute, "of the package"));
  ASSERT_TRUE(SetAttribute(Source("Some.app/Contents/inside"), kAttribute, "of the inside"));
  EXPECT_EQ(0, RunAggregate({"--copy"}).status);
  EXPECT_EQ(std::nullopt, CommentAt(InDestination("app/Some.app")));
  EXPECT_EQ("of the inside", CommentAt(InDestination("app/Some.app/Contents/inside")));
  WriteFile(Source("Other.app/Contents/inside"));
  ASSERT_TRUE(SetAttribute(Source("Other.app"), kAttribute, "of the other"));
  EXPECT_EQ(0, RunAggregate({"--move", "--preserve-comments"}).status);
  EXPECT_EQ("of the other", CommentAt(InDestination("app/Other.app")));
}

TEST_P(Comments, OfLinksAndFifosAreIgnored) {
  WriteCommented("a.txt", "of the target");
  MakeLink("a.txt", Source("link.txt"));
  MakeLink("nowhere", Source("dangling.txt"));
  EXPECT_EQ(0, RunAggregate({"--copy", "--preserve-comments"}).status);
  EXPECT_EQ(std::nullopt, CommentAt(InDestination("txt/link.txt")));
  EXPECT_EQ("of the target", CommentAt(InDestination("txt/a.txt")));
  EXPECT_EQ("of the target", CommentAt(Source("a.txt")));
  ASSERT_EQ(0, mkfifo(Source("pipe.fifo").c_str(), 0600));
  const ProgramResult result = RunAggregate({"--move", "--preserve-comments", "--replace"});
  EXPECT_EQ(CrossesDevices() ? 3 : 0, result.status);
  EXPECT_EQ(!CrossesDevices(), Exists(InDestination("fifo/pipe.fifo")));
  EXPECT_TRUE(Exists(InDestination("txt/dangling.txt")));
}

TEST_P(Comments, OfReadOnlyFilesAreCopied) {
  WriteCommented("a.txt", "text");
  ASSERT_EQ(0, chmod(Source("a.txt").c_str(), 0444));
  OpenToOrdinaryUser();
  for (const std::string& folder : {memory_.path(), source_, destination_}) {
    ASSERT_EQ(0, chmod(folder.c_str(), 0777));
  }
  const ProgramResult result =
      RunAggregate({"--copy", "--preserve-comments"}, ProgramSetup{.isOrdinaryUser = true});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_EQ("text", CommentAt(InDestination("txt/a.txt")));
  struct stat info = {};
  ASSERT_EQ(0, stat(InDestination("txt/a.txt").c_str(), &info));
  EXPECT_EQ(S_IFREG | 0444U, info.st_mode);
}

TEST_P(Comments, SurviveBothStepsOfARunByDate) {
  WriteCommented("a.txt", "text");
  SetModificationDate(Source("a.txt"), 1236168000);  // 2009-03-04 12:00 UTC
  EXPECT_EQ(0,
            RunAggregate({"--kind", "modification-date", "--copy", "--preserve-comments"}).status);
  EXPECT_EQ("text", CommentAt(InDestination("2009/Mar 04, 2009/a.txt")));
}

}  // namespace
}  // namespace tessary::test
