#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/programs/program.h"
#include "tests/programs/system_calls.h"

// The system calls that filing one item makes. docs/performance.md has a table of the same numbers.
namespace tessary::test {
namespace {

constexpr int kItems = 24;

// Runs on tmpfs, where the calls are the same on every machine.
class SystemCallBudget : public ProgramTest {
 protected:
  void SetUp() override {
    struct statfs filesystem = {};
    if (statfs("/dev/shm", &filesystem) != 0 || filesystem.f_type != TMPFS_MAGIC) {
      GTEST_SKIP() << "/dev/shm is not a tmpfs: the calls of other filesystems differ";
    }
    if (!CanCountCalls()) GTEST_SKIP() << "calls cannot be counted: tracing is not permitted here";
  }

  // Counts the calls of a run over `items` plain files of one extension.
  CallCounts CountRun(const std::vector<std::string>& options, int items) const {
    const TemporaryFolder memory("/dev/shm");
    MakeFolder(memory / "destination");
    for (int i = 0; i < items; ++i) {
      const std::string path = memory / "source/item" + std::to_string(i) + ".txt";
      WriteFile(path, "contents");
      SetModificationDate(path, 1'236'168'000);
    }
    CallCounts counts;
    ProgramSetup setup;
    setup.calls = &counts;
    std::vector<std::string> arguments = {"aggregate"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {memory / "source", memory / "destination"});
    const ProgramResult result = Run(arguments, setup);
    EXPECT_EQ(std::to_string(items) + " filed, 0 skipped, 0 failed",
              result.output.substr(0, result.output.find(" in ")))
        << result.errors;
    return counts;
  }

  // The calls per item: the difference between a run over twice as many items and one over kItems,
  // divided by kItems. So the calls for starting, listing and creating the key folder do not count.
  CallCounts CallsPerItem(const std::vector<std::string>& options) const {
    const CallCounts once = CountRun(options, kItems);
    CallCounts perItem;
    for (const auto& [name, count] : CountRun(options, 2 * kItems)) {
      const auto before = once.find(name);
      const int more = count - (before != once.end() ? before->second : 0);
      EXPECT_EQ(0, more % kItems) << name << ": " << more << " for " << kItems << " items";
      if (more / kItems != 0) perItem[name] = more / kItems;
    }
    return perItem;
  }
};

TEST_F(SystemCallBudget, MoveByExtension) {
  const CallCounts budget = {
      {"listxattr", 1}, {"newfstatat ENOENT", 1}, {"renameat2", 1}, {"statx", 2}, {"write", 1}};
  EXPECT_EQ(budget, CallsPerItem({"--move", "--kind", "extension"}));
}

TEST_F(SystemCallBudget, MoveByFileType) {
  const CallCounts budget = {
      {"listxattr", 1}, {"newfstatat ENOENT", 1}, {"renameat2", 1}, {"statx", 2}, {"write", 2}};
  EXPECT_EQ(budget, CallsPerItem({"--move", "--kind", "file-type"}));
}

TEST_F(SystemCallBudget, MoveByMimeType) {
  const CallCounts budget = {
      {"listxattr", 1}, {"newfstatat ENOENT", 1}, {"renameat2", 1}, {"statx", 2}, {"write", 1}};
  EXPECT_EQ(budget, CallsPerItem({"--move", "--kind", "mime-type"}));
}

TEST_F(SystemCallBudget, MoveByModificationDate) {
  const CallCounts budget = {
      {"listxattr", 2}, {"newfstatat ENOENT", 2}, {"renameat2", 2}, {"statx", 4}, {"write", 4}};
  EXPECT_EQ(budget, CallsPerItem({"--move", "--kind", "modification-date"}));
}

TEST_F(SystemCallBudget, MoveByCreationDate) {
  const CallCounts budget = {
      {"listxattr", 2}, {"newfstatat ENOENT", 2}, {"renameat2", 2}, {"statx", 4}, {"write", 4}};
  EXPECT_EQ(budget, CallsPerItem({"--move", "--kind", "creation-date"}));
}

TEST_F(SystemCallBudget, CopyByExtension) {
  const TemporaryFolder memory("/dev/shm");
  if (!SetAttribute(memory.path(), "user.tessary-test", "")) {
    GTEST_SKIP() << "the tmpfs of this kernel has no user attributes: a copy makes other calls";
  }
  const CallCounts budget = {{"close", 2},
                             {"fgetxattr ENODATA", 1},
                             {"flistxattr", 1},
                             {"fsetxattr", 1},
                             {"linkat", 1},
                             {"listxattr", 1},
                             {"newfstatat ENOENT", 1},
                             {"openat", 2},
                             {"pread64", 1},
                             {"pwrite64", 1},
                             {"statx", 5},
                             {"statx ENOENT", 1},
                             {"utimensat", 1},
                             {"write", 1}};
  EXPECT_EQ(budget, CallsPerItem({"--copy", "--kind", "extension"}));
}

}  // namespace
}  // namespace tessary::test
