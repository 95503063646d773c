#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/item_details.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/journal_entries.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Names = std::vector<std::string>;

const std::string kStaleName = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";

// The folders "from" and "to".
class RecoverFolderTest : public testing::Test {
 protected:
  RecoverFolderTest() {
    MakeFolder(from_);
    MakeFolder(to_);
  }

  // The state of a process that was killed while it moved `name` from `folder` to `other`, when it
  // had moved the sidecar. Its journal entry has `otherPath` as the path of `other`.
  static void LeaveHalfMove(const std::string& folder, const std::string& name,
                            const std::string& other, const std::string& otherPath,
                            unsigned number = 0) {
    WriteFile(folder + "/" + name, "item");
    WriteFile(folder + "/._" + name, "sidecar");
    WriteJournalEntry(
        folder, MakeJournalEntry(JournalOperation::kMove, folder, name, name, otherPath), number);
    ASSERT_EQ(0, rename((folder + "/._" + name).c_str(), (other + "/._" + name).c_str()));
  }
  static void LeaveHalfMove(const std::string& folder, const std::string& name,
                            const std::string& other) {
    LeaveHalfMove(folder, name, other, other);
  }

  TemporaryFolder folder_;
  const std::string from_ = folder_ / "from";
  const std::string to_ = folder_ / "to";
};

TEST_F(RecoverFolderTest, DeletesStaleTempItems) {
  WriteFile(from_ + "/" + kStaleName, "half");
  WriteFile(from_ + "/item", "whole");
  RecoverFolder(from_);
  EXPECT_EQ(Names{"item"}, NamesIn(from_));
}

TEST_F(RecoverFolderTest, RecoversSidecars) {
  LeaveHalfMove(from_, "a", to_);
  RecoverFolder(from_);
  EXPECT_EQ((Names{"._a", "a"}), NamesIn(from_));
  EXPECT_EQ(Names(), NamesIn(to_));
}

TEST_F(RecoverFolderTest, NotesRecoveredSidecars) {
  LeaveHalfMove(from_, "a", to_);
  const NSAutoreleasePool pool;
  FSRecoverFolder(RefAt(from_));
  FSRef moved;
  EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(from_ + "/a"), RefAt(to_), nullptr, &moved));
  EXPECT_EQ((Names{"._a", "a"}), NamesIn(to_));
}

TEST_F(RecoverFolderTest, WorksOncePerRun) {
  for (int run = 0; run < 2; ++run) {
    const NSAutoreleasePool pool;
    WriteFile(from_ + "/" + kStaleName, "half");
    FSRecoverFolder(RefAt(from_));
    EXPECT_EQ(Names(), NamesIn(from_));
    WriteFile(from_ + "/" + kStaleName, "half");
    FSRecoverFolder(RefAt(from_));
    EXPECT_EQ(Names{kStaleName}, NamesIn(from_));
  }
}

TEST_F(RecoverFolderTest, IgnoresWhatIsNotAFolder) {
  WriteFile(from_ + "/file", "x");
  FSRecoverFolder(RefAt(from_ + "/file"));
  FSRecoverFolder(FSRef{});
  EXPECT_EQ("x", ReadFile(from_ + "/file"));
}

// Everything about a folder that a change would alter.
std::string DescribeFolder(const std::string& path) {
  const struct stat info = LstatAt(path);
  std::string text = std::to_string(info.st_ctim.tv_sec) + "." +
                     std::to_string(info.st_ctim.tv_nsec) + testing::PrintToString(NamesIn(path));
  for (const std::string& name : NamesIn(path)) text += ReadFile(path + "/" + name);
  return text;
}

TEST_F(RecoverFolderTest, IsNotPartOfReading) {
  LeaveHalfMove(from_, "a", to_);
  WriteFile(from_ + "/" + kStaleName, "half");
  const std::string before = DescribeFolder(from_);
  const NSAutoreleasePool pool;
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(from_), &iterator));
  std::array<FSRef, 10> refs;
  size_t count = 0;
  bool hasChanged = true;
  EXPECT_EQ(errFSNoMoreItems,
            FSGetCatalogInfoBulk(*iterator, refs.size(), &count, &hasChanged, refs.data()));
  EXPECT_EQ(3U, count);
  EXPECT_FALSE(hasChanged);
  FSRef item;
  EXPECT_EQ(noErr, FSMakeFSRefUnicode(RefAt(from_), u"a", &item));
  ItemDetails details;
  EXPECT_EQ(noErr, CopyItemDetails(item, &details));
  FSRef copied;
  EXPECT_EQ(noErr, FSCopyObjectSync(item, RefAt(to_), nullptr, &copied));
  EXPECT_EQ(before, DescribeFolder(from_));
}

TEST_F(RecoverFolderTest, IsNotPartOfCopying) {
  LeaveHalfMove(to_, "a", from_);
  WriteFile(to_ + "/" + kStaleName, "half");
  WriteFile(from_ + "/b", "item");
  WriteFile(from_ + "/._b", "sidecar");
  FSRef copied;
  const NSAutoreleasePool pool;
  EXPECT_EQ(noErr, FSCopyObjectSync(RefAt(from_ + "/b"), RefAt(to_), nullptr, &copied));
  EXPECT_EQ((Names{kStaleName, JournalEntryName(), "a", "b"}), NamesIn(to_));
}

// Entries that anybody can craft, each of which leads to the folder of the next one.
TEST_F(RecoverFolderTest, FollowsNoChainOfFolders) {
  constexpr unsigned kLength = 5000;
  const auto link = [this](unsigned number) {
    return folder_ / ("chain" + std::to_string(number));
  };
  JournalEntry entry;
  entry.name = entry.newName = "a";
  for (unsigned number = 0; number < kLength; ++number) {
    entry.otherPath = link(number + 1);
    MakeFolder(link(number));
    WriteJournalEntry(link(number), entry, number);
  }
  RecoverFolder(link(0));
  EXPECT_EQ(Names(), NamesIn(link(0)));
  for (unsigned number = 1; number < kLength; ++number) {
    ASSERT_EQ(Names{JournalEntryName(number)}, NamesIn(link(number)));
  }
}

// The sidecar's name would be too long, so that it can never get it back.
void LeaveUnfinishable(const std::string& folder, JournalOperation operation, unsigned number) {
  const std::string name = std::to_string(number) + std::string(253, 'x');
  JournalEntry entry;
  entry.operation = operation;
  entry.name = entry.newName = name.substr(0, 254);
  entry.otherPath = folder;
  WriteJournalEntry(folder, entry, number);
  WriteFile(folder + "/" + StagedSidecarNameOf(JournalEntryName(number)), "sidecar");
}

TEST_F(RecoverFolderTest, TriesUnfinishableEntriesOnce) {
  constexpr unsigned kCount = 10;
  for (unsigned number = 0; number < kCount; ++number) {
    LeaveUnfinishable(from_, JournalOperation::kMoveAcrossFilesystems, number);
  }
  const Names before = NamesIn(from_);
  const CapturedLog log;
  RecoverFolder(from_);
  EXPECT_EQ(before, NamesIn(from_));
  const Names lines = log.Messages();
  EXPECT_EQ(kCount, lines.size());
  for (unsigned number = 0; number < kCount; ++number) {
    const std::string entry = JournalEntryName(number);
    EXPECT_EQ(1, std::ranges::count_if(lines,
                                       [&entry](const std::string& line) {
                                         return line.find(entry) != std::string::npos;
                                       }))
        << entry;
  }
}

// The processor time, in seconds, that this process has used.
double ProcessorTime() {
  timespec time = {};
  EXPECT_EQ(0, clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time));
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST_F(RecoverFolderTest, IsLinearInTheNumberOfEntries) {
  constexpr unsigned kCount = 3000;
  constexpr unsigned kFactor = 10;
  constexpr double kMostGrowth = 3 * kFactor;
  const auto timeRecoveryOf = [this](unsigned count) {
    const std::string from = folder_ / ("from" + std::to_string(count));
    const std::string to = folder_ / ("to" + std::to_string(count));
    MakeFolder(to);
    for (unsigned number = 0; number < count; ++number) {
      LeaveHalfMove(from, "item" + std::to_string(number), to, to, number);
    }
    const double before = ProcessorTime();
    RecoverFolder(from);
    const double after = ProcessorTime();
    EXPECT_EQ(Names(), NamesIn(to));
    EXPECT_EQ(2 * count, NamesIn(from).size());
    return after - before;
  };
  const double timeOfFew = timeRecoveryOf(kCount / kFactor);
  EXPECT_LT(timeRecoveryOf(kCount), timeOfFew * kMostGrowth);
}

// With openat2, and on kernels without it, where the path is walked component by component.
class RecoverFolderByPath : public RecoverFolderTest, public testing::WithParamInterface<bool> {
 protected:
  // Whether the recovery of "from" reaches "to" by this path.
  bool IsFollowed(const std::string& pathOfTo) {
    LeaveHalfMove(from_, "a", to_, pathOfTo);
    const CapturedLog log;
    RecoverFolder(from_);
    const bool isFollowed = Exists(from_ + "/._a");
    EXPECT_EQ(isFollowed, !Exists(from_ + "/" + JournalEntryName()));
    EXPECT_EQ(isFollowed, !Exists(to_ + "/._a"));
    EXPECT_EQ(isFollowed ? 0U : 1U, log.Messages().size());
    return isFollowed;
  }

  static void RunOnKernel(const std::function<void()>& body) {
    std::vector<InjectedError> errors;
    if (!GetParam()) errors.push_back({SYS_openat2, ENOSYS});
    EXPECT_TRUE(RunWithInjectedErrors(errors, body));
  }
};

INSTANTIATE_TEST_SUITE_P(Kernel, RecoverFolderByPath, testing::Bool(), [](const auto& row) {
  return row.param ? "WithOpenat2" : "WithoutOpenat2";
});

TEST_P(RecoverFolderByPath, FollowsPlainPath) {
  RunOnKernel([this] { EXPECT_TRUE(IsFollowed(to_)); });
}

TEST_P(RecoverFolderByPath, FollowsPathOfAnyLength) {
  std::string path = folder_.path();
  while (path.size() <= PATH_MAX) path += "/.";
  RunOnKernel([&] { EXPECT_TRUE(IsFollowed(path + "/to")); });
}

TEST_P(RecoverFolderByPath, IgnoresSymbolicLink) {
  MakeLink("to", folder_ / "link");
  MakeLink(folder_.path(), folder_ / "above");
  RunOnKernel([this] { EXPECT_FALSE(IsFollowed(folder_ / "link")); });
  RunOnKernel([this] { EXPECT_FALSE(IsFollowed(folder_ / "above/to")); });
}

TEST_P(RecoverFolderByPath, IgnoresPathThroughProc) {
  RunOnKernel([this] {
    const UniqueFd to = OpenFolder(to_);
    const std::string process = "/proc/" + std::to_string(getpid());
    EXPECT_FALSE(IsFollowed(process + "/root" + to_));
    EXPECT_FALSE(IsFollowed(process + "/fd/" + std::to_string(to.get())));
  });
}

}  // namespace
}  // namespace tessary::test
