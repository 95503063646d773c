#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "engine/run.h"
#include "engine/shell.h"
#include "platform/linux/changes/copy_ahead.h"
#include "tests/programs/program.h"
#include "tests/programs/system_calls.h"
#include "tests/support/captured_log.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/run_in_child.h"

// The system calls that filing one item makes. docs/performance.md has a table of the same numbers.
namespace tessary::test {
namespace {

constexpr int kItems = 24;

// The calls of each of the `more` items that a run with the calls `counts` has handled beyond one
// with the calls `before`.
CallCounts Divide(const CallCounts& before, const CallCounts& counts, int more) {
  CallCounts perItem;
  for (const auto& [name, count] : counts) {
    const auto found = before.find(name);
    const int difference = count - (found != before.end() ? found->second : 0);
    EXPECT_EQ(0, difference % more) << name << ": " << difference << " for " << more << " items";
    if (difference / more != 0) perItem[name] = difference / more;
  }
  return perItem;
}

// Leaves this process one processor, so that programs which it starts prepare no copies.
class OneProcessor {
 public:
  OneProcessor() {
    EXPECT_EQ(0, sched_getaffinity(0, sizeof(saved_), &saved_));
    cpu_set_t one = {};
    for (size_t i = 0; i < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++i) {
      if (CPU_ISSET(i, &saved_)) CPU_SET(i, &one);
    }
    EXPECT_EQ(0, sched_setaffinity(0, sizeof(one), &one));
  }
  ~OneProcessor() { EXPECT_EQ(0, sched_setaffinity(0, sizeof(saved_), &saved_)); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  cpu_set_t saved_ = {};
};

// The calls of a run that copies: of its main thread, and of the thread that prepares copies.
struct CopyCalls {
  CallCounts main;
  CallCounts ahead;
};

// Copies all files of a folder in this process. Waits in the turn of the second file until the
// copies of all others are prepared, so that each thread makes the same calls every time. Returns
// true if all of these were used.
bool CopyPrepared(const std::string& source, const std::string& destination, uint64_t items) {
  constexpr int kMaxWaits = 20'000;
  uint64_t turns = 0;
  SetEngineHooks({.showProgressText = [&turns, items](const std::string&, int) {
    if (++turns != 2) return;
    for (int i = 0; i < kMaxWaits && CountPreparedCopies().prepared < items - 1; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }});
  AggregateFolder(RefAt(source), RefAt(destination));
  SetEngineHooks({});
  return CountPreparedCopies().published == items - 1;
}

// Counts the calls of such a run in a child process.
CopyCalls CountPreparedCopy(uint64_t items) {
  const TemporaryFolder memory("/dev/shm");
  const PreferencesFolder preferences;
  MakeFolder(memory / "destination");
  for (uint64_t i = 0; i < items; ++i) {
    const std::string path = memory / "source/item" + std::to_string(i) + ".txt";
    WriteFile(path, "contents");
    SetModificationDate(path, 1'236'168'000);
  }
  // A file that has just been changed is not prepared.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  CopyCalls calls;
  const pid_t child = ForkChild();
  if (child == 0) {
    const CapturedLog log;
    if (!AllowCallCounting()) _exit(1);
    (void)raise(SIGSTOP);
    _exit(CopyPrepared(memory / "source", memory / "destination", items) ? 0 : 2);
  }
  EXPECT_EQ(0, CountCalls(child, &calls.main, &calls.ahead));
  // Either thread or both find out that a tmpfs has no reflinks.
  calls.main.erase("ioctl EOPNOTSUPP");
  calls.ahead.erase("ioctl EOPNOTSUPP");
  return calls;
}

// Runs on tmpfs, where the calls are the same on every machine.
class SystemCallBudget : public ProgramTest {
 protected:
  void SetUp() override {
    struct statfs filesystem = {};
    if (statfs("/dev/shm", &filesystem) != 0 || filesystem.f_type != TMPFS_MAGIC) {
      GTEST_SKIP() << "/dev/shm is not a tmpfs: the calls of other filesystems differ";
    }
    if (!CanCountCalls())
      GTEST_SKIP() << "this process may not trace another one (ptrace), so calls cannot be counted";
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

  // The calls per item, so that those for starting, listing and creating the key folder do not
  // count.
  CallCounts CallsPerItem(const std::vector<std::string>& options) const {
    return Divide(CountRun(options, kItems), CountRun(options, 2 * kItems), kItems);
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

// The calls of a copy depend on whether the filesystem has attributes.
class CopyBudget : public SystemCallBudget {
 protected:
  void SetUp() override {
    SystemCallBudget::SetUp();
    if (IsSkipped()) return;
    const TemporaryFolder memory("/dev/shm");
    if (!SetAttribute(memory.path(), "user.tessary-test", "")) {
      GTEST_SKIP() << "the tmpfs of this kernel has no user attributes: a copy makes other calls";
    }
  }
};

TEST_F(CopyBudget, OneProcessor) {
  const OneProcessor processor;
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

TEST_F(CopyBudget, PreparedCopies) {
  if (!HasSecondProcessor()) {
    GTEST_SKIP() << "this process has one processor: no copies are prepared on a second thread";
  }
  const CopyCalls few = CountPreparedCopy(5);
  const CopyCalls more = CountPreparedCopy(9);
  const CallCounts mainBudget = {
      {"close", 1}, {"ioctl", 1}, {"linkat", 1}, {"listxattr", 1}, {"newfstatat ENOENT", 1},
      {"statx", 3}, {"write", 1}};
  EXPECT_EQ(mainBudget, Divide(few.main, more.main, 4));
  const CallCounts aheadBudget = {
      {"close", 1},   {"fgetxattr ENODATA", 1}, {"flistxattr", 1}, {"fsetxattr", 1}, {"openat", 2},
      {"pread64", 1}, {"pwrite64", 1},          {"statx", 3},      {"utimensat", 1}};
  EXPECT_EQ(aheadBudget, Divide(few.ahead, more.ahead, 4));
}

}  // namespace
}  // namespace tessary::test
