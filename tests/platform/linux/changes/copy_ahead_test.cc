#include "platform/linux/changes/copy_ahead.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/catalog/volume.h"
#include "platform/managers/file_manager.h"
#include "tests/support/access_list.h"
#include "tests/support/fault_injection/failing_allocations.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr uint32_t kTmpfileFlag = O_TMPFILE & ~O_DIRECTORY;

// Longer than a tick of the clock that stamps changes: a file that was changed within the current
// tick is not prepared.
constexpr auto kTick = std::chrono::milliseconds(20);

size_t CountThreads() {
  size_t count = 0;
  for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/task")) {
    ++count;
  }
  return count;
}

// Calls `isTrue` until it returns true, for some seconds at most.
template <typename Condition>
bool Await(const Condition& isTrue) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!isTrue()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Limits the open descriptors of this process while it exists.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t count) {
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &saved_));
    const rlimit limit = {count, saved_.rlim_max};
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
  }
  ~DescriptorLimit() { EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &saved_)); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit saved_ = {};
};

// Files 0 to 7 in "from", to be copied to "to/key".
class CopyAheadTest : public testing::Test {
 protected:
  static constexpr size_t kCount = 8;

  void SetUp() override {
    if (!HasSecondProcessor()) GTEST_SKIP() << "there is only one processor";
    const UniqueFd folder = OpenFolder(folder_.path());
    if (!VolumeOf(IdentityAt(folder.get(), "").device, folder.get()).hasReliableEntries) {
      GTEST_SKIP() << "nothing is prepared on the filesystem of the temporary folder";
    }
    MakeFolder(KeyFolder());
    for (size_t i = 0; i < kCount; ++i) WriteFile(Source(i), "contents " + std::to_string(i));
    std::this_thread::sleep_for(kTick);
  }

  std::string Source(size_t item) const { return folder_ / ("from/" + std::to_string(item)); }
  std::string KeyFolder() const { return folder_ / "to/key"; }
  std::string Target(size_t item) const { return KeyFolder() + "/" + std::to_string(item); }

  // Begins the turn of item 0, so that the others are prepared, and waits until they are.
  void PrepareOthers() {
    BeginToPrepare();
    EXPECT_TRUE(Await([this] { return CountNew().prepared == kCount - 1; }));
  }

  void BeginToPrepare() {
    before_ = CountPreparedCopies();
    items_.clear();
    for (size_t i = 0; i < kCount; ++i) items_.push_back(RefAt(Source(i)));
    ahead_ = std::make_unique<FSCopyAhead>(items_.data(), items_.size(), RefAt(folder_ / "to"));
    ahead_->WillCopy(items_[0]);
  }

  // Copies an item in its turn.
  Status Copy(size_t item) { return CopyTo(item, KeyFolder()); }
  Status CopyTo(size_t item, const std::string& folder) {
    ahead_->WillCopy(items_[item]);
    FSRef target;
    return FSTryFastCopy(items_[item], RefAt(folder), &target);
  }

  // Since BeginToPrepare.
  PreparedCopyCounts CountNew() const {
    const PreparedCopyCounts now = CountPreparedCopies();
    return {now.prepared - before_.prepared, now.published - before_.published};
  }

  const TemporaryFolder folder_;
  std::vector<FSRef> items_;
  std::unique_ptr<FSCopyAhead> ahead_;
  PreparedCopyCounts before_;
};

TEST_F(CopyAheadTest, PublishesPreparedCopies) {
  ASSERT_EQ(0, chmod(Source(3).c_str(), 0604));
  SetModificationDate(Source(3), 1'236'168'000);
  std::this_thread::sleep_for(kTick);
  PrepareOthers();
  EXPECT_TRUE(NamesIn(KeyFolder()).empty());
  for (size_t i = 0; i < kCount; ++i) {
    EXPECT_EQ(noErr, Copy(i));
    EXPECT_EQ("contents " + std::to_string(i), ReadFile(Target(i)));
    EXPECT_EQ("contents " + std::to_string(i), ReadFile(Source(i)));
  }
  EXPECT_EQ(kCount - 1, CountNew().published);
  EXPECT_EQ(mode_t{S_IFREG | 0604}, LstatAt(Target(3)).st_mode);
  EXPECT_EQ(1'236'168'000, LstatAt(Target(3)).st_mtim.tv_sec);
}

TEST_F(CopyAheadTest, PublishesUnderNewName) {
  PrepareOthers();
  WriteFile(Target(1), "existing");
  EXPECT_EQ(dupFNErr, Copy(1));
  FSRef target;
  const std::u16string name = u"distinct";
  EXPECT_EQ(noErr, FSCopyObjectSync(items_[1], RefAt(KeyFolder()), &name, &target));
  EXPECT_EQ("existing", ReadFile(Target(1)));
  EXPECT_EQ("contents 1", ReadFile(KeyFolder() + "/distinct"));
  EXPECT_EQ(1U, CountNew().published);
}

TEST_F(CopyAheadTest, ContinuesAfterInvalidName) {
  PrepareOthers();
  FSRef target;
  const std::u16string name(300, u'x');
  EXPECT_EQ(bdNamErr, FSCopyObjectSync(items_[1], RefAt(KeyFolder()), &name, &target));
  EXPECT_EQ(noErr, Copy(2));
  EXPECT_EQ(1U, CountNew().published);
}

// With few descriptors, fewer folders stay open than the items alternate between.
TEST_F(CopyAheadTest, PublishesInAlternatingFolders) {
  constexpr size_t kFolders = 5;
  const DescriptorLimit limit(64);
  PrepareOthers();
  for (size_t i = 1; i < kCount; ++i) {
    const std::string folder = folder_ / ("to/" + std::to_string(i % kFolders));
    MakeFolder(folder);
    EXPECT_EQ(noErr, CopyTo(i, folder));
    EXPECT_EQ("contents " + std::to_string(i), ReadFile(folder + "/" + std::to_string(i)));
  }
  EXPECT_EQ(kCount - 1, CountNew().published);
}

TEST_F(CopyAheadTest, NoticesChangedSource) {
  PrepareOthers();
  const struct stat before = LstatAt(Source(2));
  WriteFile(Source(2), "CONTENTS 2");
  const timespec times[] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(0, utimensat(AT_FDCWD, Source(2).c_str(), times, 0));
  ASSERT_EQ(0, chmod(Source(3).c_str(), 0600));
  EXPECT_EQ(noErr, Copy(2));
  EXPECT_EQ(noErr, Copy(3));
  EXPECT_EQ("CONTENTS 2", ReadFile(Target(2)));
  EXPECT_EQ(mode_t{S_IFREG | 0600}, LstatAt(Target(3)).st_mode);
  EXPECT_EQ(0U, CountNew().published);
}

TEST_F(CopyAheadTest, RefusesReplacedSource) {
  PrepareOthers();
  WriteFile(folder_ / "other", "contents x");
  ASSERT_EQ(0, std::rename((folder_ / "other").c_str(), Source(2).c_str()));
  EXPECT_EQ(fnfErr, Copy(2));
  EXPECT_FALSE(Exists(Target(2)));
  EXPECT_EQ(0U, CountNew().published);
}

TEST_F(CopyAheadTest, DropsOldCopies) {
  PrepareOthers();
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(noErr, Copy(1));
  EXPECT_EQ("contents 1", ReadFile(Target(1)));
  EXPECT_EQ(0U, CountNew().published);
}

TEST_F(CopyAheadTest, DropsCopiesBeforeTurn) {
  const size_t descriptors = CountOpenDescriptors();
  PrepareOthers();
  const size_t prepared = CountOpenDescriptors();
  EXPECT_LE(descriptors + kCount - 1, prepared);
  ahead_->WillCopy(items_[kCount - 2]);
  EXPECT_GE(prepared - (kCount - 3), CountOpenDescriptors());
  EXPECT_EQ(noErr, Copy(kCount - 1));
  EXPECT_EQ(1U, CountNew().published);
}

TEST_F(CopyAheadTest, LeavesNothingBehind) {
  (void)RefAt(KeyFolder());
  (void)RefAt(Source(0));
  const size_t descriptors = CountOpenDescriptors();
  const size_t threads = CountThreads();
  PrepareOthers();
  EXPECT_EQ(threads + 1, CountThreads());
  ahead_.reset();
  EXPECT_EQ(threads, CountThreads());
  // The catalog keeps the folders open.
  EXPECT_GE(descriptors + 3, CountOpenDescriptors());
  EXPECT_TRUE(NamesIn(KeyFolder()).empty());
  EXPECT_EQ(std::vector<std::string>{"key"}, NamesIn(folder_ / "to"));
}

// Its key folder passes on a flag that the destination does not have.
TEST_F(CopyAheadTest, KeepsInheritedFlags) {
  const UniqueFd key(open(KeyFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  unsigned flags = 0;
  ASSERT_EQ(0, ioctl(key.get(), FS_IOC_GETFLAGS, &flags));
  flags |= FS_NODUMP_FL;
  if (ioctl(key.get(), FS_IOC_SETFLAGS, &flags) != 0) GTEST_SKIP() << "there are no flags";
  MakeFolder(folder_ / "to/plain");
  PrepareOthers();
  EXPECT_EQ(noErr, CopyTo(1, folder_ / "to/plain"));
  EXPECT_EQ(noErr, Copy(2));
  const UniqueFd copy(open(Target(2).c_str(), O_RDONLY | O_CLOEXEC));
  unsigned copied = 0;
  ASSERT_EQ(0, ioctl(copy.get(), FS_IOC_GETFLAGS, &copied));
  EXPECT_NE(0U, copied & FS_NODUMP_FL);
  EXPECT_EQ(1U, CountNew().published);
}

// The copy gets group and access list of its source, whatever the folder passes on.
TEST_F(CopyAheadTest, TakesNoGroupOrAccessListFromFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "requires root";
  ASSERT_EQ(0, chown(KeyFolder().c_str(), 0, 65534));
  ASSERT_EQ(0, chmod(KeyFolder().c_str(), 02775));
  const bool hasAccessLists =
      SetAttribute(KeyFolder(), kDefaultAccessListAttribute, AccessListWithUser(65534));
  PrepareOthers();
  EXPECT_EQ(noErr, Copy(1));
  EXPECT_EQ(noErr, FSTryFastCopy(items_[0], RefAt(KeyFolder()), &items_[0]));
  EXPECT_EQ(1U, CountNew().published);
  for (const size_t item : {size_t{0}, size_t{1}}) {
    EXPECT_EQ(LstatAt(Source(item)).st_gid, LstatAt(Target(item)).st_gid);
    EXPECT_EQ(LstatAt(Source(item)).st_mode, LstatAt(Target(item)).st_mode);
    if (!hasAccessLists) continue;
    EXPECT_EQ("(none)", AttributeAt(Target(item), kAccessListAttribute));
  }
}

// A user may not give a file to a group of others. The group of a copy of such a file depends on
// the folder in which it is created, and a prepared copy is not created in the key folder.
TEST_F(CopyAheadTest, PreparesNoFileWhoseGroupCannotBeSet) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file to a group of others";
  static constexpr gid_t kFolderGroup = 4711;
  static constexpr gid_t kFileGroup = 4712;
  const auto isOfOthers = [](size_t item) { return item % 2 == 1; };
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0755));
  ASSERT_EQ(0, chmod((folder_ / "to").c_str(), 0777));
  ASSERT_EQ(0, chown(KeyFolder().c_str(), 0, kFolderGroup));
  ASSERT_EQ(0, chmod(KeyFolder().c_str(), 02777));
  for (size_t i = 0; i < kCount; ++i) {
    const gid_t group = isOfOthers(i) ? kFileGroup : kOrdinaryId;
    ASSERT_EQ(0, chown(Source(i).c_str(), kOrdinaryId, group));
  }
  std::this_thread::sleep_for(kTick);
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    BeginToPrepare();
    EXPECT_TRUE(Await([this] { return CountNew().prepared == kCount / 2 - 1; }));
    for (size_t i = 0; i < kCount; ++i) {
      EXPECT_EQ(noErr, Copy(i));
      EXPECT_EQ(isOfOthers(i) ? kFolderGroup : kOrdinaryId, LstatAt(Target(i)).st_gid) << i;
    }
    EXPECT_EQ(kCount / 2 - 1, CountNew().prepared);
  }));
}

TEST_F(CopyAheadTest, CopiesToOtherFilesystem) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  PrepareOthers();
  for (size_t i = 1; i < kCount; ++i) EXPECT_EQ(noErr, CopyTo(i, memory.path()));
  EXPECT_EQ("contents 1", ReadFile(memory / "1"));
  EXPECT_EQ(0U, CountNew().published);
}

TEST_F(CopyAheadTest, PreparesNothingOnSmallFilesystem) {
  const MemoryVolume volume("size=64m");
  if (!volume.IsMounted()) GTEST_SKIP() << "requires the right to mount";
  before_ = CountPreparedCopies();
  for (size_t i = 0; i < kCount; ++i) items_.push_back(RefAt(Source(i)));
  ahead_ = std::make_unique<FSCopyAhead>(items_.data(), items_.size(), RefAt(volume.path()));
  for (size_t i = 0; i < kCount; ++i) EXPECT_EQ(noErr, CopyTo(i, volume.path()));
  EXPECT_EQ("contents 7", ReadFile(volume / "7"));
  EXPECT_EQ(0U, CountNew().prepared);
}

TEST_F(CopyAheadTest, CopiesWithoutAnonymousFiles) {
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_openat, EOPNOTSUPP, 2, kTmpfileFlag}}, [this] {
    BeginToPrepare();
    for (size_t i = 0; i < kCount; ++i) EXPECT_EQ(noErr, Copy(i));
    EXPECT_EQ("contents 7", ReadFile(Target(7)));
    EXPECT_EQ(0U, CountNew().prepared);
    ahead_.reset();
  }));
}

TEST_F(CopyAheadTest, CopiesWithoutThreads) {
  EXPECT_TRUE(
      RunWithInjectedErrors({{SYS_clone3, EAGAIN, 0, 0}, {SYS_clone, EAGAIN, 0, 0}}, [this] {
        BeginToPrepare();
        for (size_t i = 0; i < kCount; ++i) EXPECT_EQ(noErr, Copy(i));
        EXPECT_EQ("contents 7", ReadFile(Target(7)));
        EXPECT_EQ(0U, CountNew().prepared);
        ahead_.reset();
      }));
}

// Both threads copy as fast as they can.
TEST_F(CopyAheadTest, CopiesLongList) {
  constexpr size_t kLong = 600;
  for (size_t i = kCount; i < kLong; ++i) WriteFile(Source(i), "contents " + std::to_string(i));
  std::this_thread::sleep_for(kTick);
  before_ = CountPreparedCopies();
  for (size_t i = 0; i < kLong; ++i) items_.push_back(RefAt(Source(i)));
  ahead_ = std::make_unique<FSCopyAhead>(items_.data(), items_.size(), RefAt(folder_ / "to"));
  const auto isCopied = [](size_t item) { return item % 7 != 6; };
  for (size_t i = 0; i < kLong; ++i) {
    if (!isCopied(i)) continue;
    ASSERT_EQ(noErr, Copy(i));
    ASSERT_EQ("contents " + std::to_string(i), ReadFile(Target(i)));
  }
  ahead_.reset();
  for (size_t i = 0; i < kLong; ++i) EXPECT_EQ(isCopied(i), Exists(Target(i)));
  // How many depends on the load of the machine.
  EXPECT_LT(0U, CountNew().published);
}

TEST_F(CopyAheadTest, RetriesWithoutPreparedCopies) {
  PrepareOthers();
  int calls = 0;
  const auto failOnce = [&calls] { return ++calls == 1 ? dskFulErr : noErr; };
  EXPECT_EQ(noErr, RetryWithoutPreparedCopies(failOnce));
  EXPECT_EQ(2, calls);
  // Now there are none.
  calls = 0;
  EXPECT_EQ(dskFulErr, RetryWithoutPreparedCopies(failOnce));
  EXPECT_EQ(noErr, Copy(1));
  EXPECT_EQ(0U, CountNew().published);
}

TEST_F(CopyAheadTest, RetriesForExhaustionOnly) {
  PrepareOthers();
  int calls = 0;
  EXPECT_EQ(afpAccessDenied, RetryWithoutPreparedCopies([&calls] {
              ++calls;
              return afpAccessDenied;
            }));
  EXPECT_EQ(1, calls);
}

TEST_F(CopyAheadTest, PrepareCopyReportsFailedAllocation) {
  const Place place = PlaceAt(Source(0));
  const FileToPrepare file = {place.folder, place.name, IdentityAt(place.descriptor(), place.name)};
  const UniqueFd to = OpenFolder(KeyFolder());
  // The first copy stores properties of the filesystem, and does not need the memory for that.
  PreparedCopy first;
  ASSERT_EQ(Preparation::kDone, PrepareCopy(file, to.get(), &first));
  const size_t descriptors = CountOpenDescriptors();
  // noErr stands for kDone, memFullErr for kImpossible.
  ExpectMemFullOnFailedAllocations(
      [&] {
        PreparedCopy prepared;
        const Preparation outcome = PrepareCopy(file, to.get(), &prepared);
        if (outcome == Preparation::kUnsuitable) return ioErr;
        return outcome == Preparation::kDone ? noErr : memFullErr;
      },
      [&] { EXPECT_EQ(descriptors, CountOpenDescriptors()); });
}

TEST_F(CopyAheadTest, PrepareCopyRefusesOtherObjects) {
  const Place place = PlaceAt(Source(0));
  const UniqueFd to = OpenFolder(KeyFolder());
  FileToPrepare file = {place.folder, place.name, IdentityAt(place.descriptor(), place.name)};
  PreparedCopy prepared;
  file.identity.inode += 1;
  EXPECT_EQ(Preparation::kUnsuitable, PrepareCopy(file, to.get(), &prepared));
  ASSERT_EQ(0, truncate(Source(0).c_str(), (8 << 20) + 1));
  std::this_thread::sleep_for(kTick);
  file.identity.inode -= 1;
  EXPECT_EQ(Preparation::kUnsuitable, PrepareCopy(file, to.get(), &prepared));
  ASSERT_EQ(0, truncate(Source(0).c_str(), 8 << 20));
  std::this_thread::sleep_for(kTick);
  EXPECT_EQ(Preparation::kDone, PrepareCopy(file, to.get(), &prepared));
}

// A later change within the same tick would leave no trace in the source's times.
TEST_F(CopyAheadTest, PrepareCopyRefusesSourceOfThisTick) {
  const Place place = PlaceAt(Source(0));
  const UniqueFd to = OpenFolder(KeyFolder());
  const FileToPrepare file = {place.folder, place.name, IdentityAt(place.descriptor(), place.name)};
  const auto prepareChanged = [&] {
    PreparedCopy prepared;
    EXPECT_EQ(0, chmod(Source(0).c_str(), 0640));
    return PrepareCopy(file, to.get(), &prepared);
  };
  // Now and then the tick ends in between.
  EXPECT_TRUE(Await([&] { return prepareChanged() == Preparation::kUnsuitable; }));
}

}  // namespace
}  // namespace tessary::test
