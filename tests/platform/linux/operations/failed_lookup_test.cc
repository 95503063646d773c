#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Changes that succeed, although what follows them fails or the kernel reports an error.
namespace tessary::test {
namespace {

std::u16string NameOf(const FSRef& ref) {
  std::u16string name;
  EXPECT_EQ(noErr, FSGetCatalogInfo(ref, kFSCatInfoNone, nullptr, &name, nullptr, nullptr));
  return name;
}

// On an overlay, where a moved object is looked up. Every operation stats "from/a.txt" once, and
// "to/a.txt" once afterwards.
class FailedLookup : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
    WriteFile(volume_ / "from/a.txt", "a");
    MakeFolder(volume_ / "to");
    source_ = RefAt(volume_ / "from/a.txt");
    folder_ = RefAt(volume_ / "to");
  }

  // Runs the operation with a lookup that fails, and with one that finds nothing, because another
  // process has moved the new object away.
  void ExpectSuccess(const std::function<Status(FSRef*)>& operation) {
    const auto run = [&] {
      const FSStatCacheScope scope;
      FSRef target;
      EXPECT_EQ(noErr, operation(&target));
      EXPECT_EQ(u"a.txt", NameOf(target));
      EXPECT_EQ(volume_ / "to/a.txt", PathOf(target));
    };
    RunWithPausedCalls({{SYS_statx, "a.txt", 2, {}, EIO}}, [&] {
      run();
      EXPECT_EQ("a", ReadFile(volume_ / "to/a.txt"));
    });
    const std::string taken = volume_ / "taken";
    ASSERT_EQ(0, rename((volume_ / "to/a.txt").c_str(), taken.c_str()));
    if (!Exists(volume_ / "from/a.txt")) {
      ASSERT_EQ(0, rename(taken.c_str(), (volume_ / "from/a.txt").c_str()));
    }
    const auto take = [&] { (void)rename((volume_ / "to/a.txt").c_str(), taken.c_str()); };
    RunWithPausedCalls({{SYS_statx, "a.txt", 2, take}}, [&] {
      run();
      EXPECT_EQ("a", ReadFile(taken));
    });
  }

  const ScratchVolume volume_{VolumeKind::kOverlay};
  FSRef source_;
  FSRef folder_;
};

TEST_F(FailedLookup, AfterFastMove) {
  ExpectSuccess([this](FSRef* target) { return FSTryFastMove(source_, folder_, target); });
}

TEST_F(FailedLookup, AfterMove) {
  ExpectSuccess(
      [this](FSRef* target) { return FSMoveObjectSync(source_, folder_, nullptr, target); });
}

TEST_F(FailedLookup, AfterCopy) {
  ExpectSuccess(
      [this](FSRef* target) { return FSCopyObjectSync(source_, folder_, nullptr, target); });
}

TEST(FSCreateDirectoryUnicode, SucceedsIfLookupFails) {
  const TemporaryFolder folder;
  const FSRef parent = RefAt(folder.path());
  RunWithPausedCalls({{SYS_statx, "new", 1, {}, EIO}}, [&] {
    const FSStatCacheScope scope;
    FSRef made;
    EXPECT_EQ(noErr, FSCreateDirectoryUnicode(parent, u"new", &made));
    EXPECT_EQ(folder / "new", PathOf(made));
    EXPECT_TRUE(FSMayBeFolder(made));
    EXPECT_TRUE(NamesIn(folder / "new").empty());
  });
}

// A network filesystem reports an error for a rename whose reply was lost.
TEST(FSMoveObjectSync, SucceedsIfRenameReportsError) {
  const auto fastMove = [](const FSRef& source, const FSRef& folder, FSRef* target) {
    return FSTryFastMove(source, folder, target);
  };
  const auto move = [](const FSRef& source, const FSRef& folder, FSRef* target) {
    return FSMoveObjectSync(source, folder, nullptr, target);
  };
  using Move = std::function<Status(const FSRef&, const FSRef&, FSRef*)>;
  for (const Move& each : {Move(fastMove), Move(move)}) {
    for (const int error : {EIO, ENOENT, ETIMEDOUT}) {
      const TemporaryFolder folder;
      WriteFile(folder / "from/a.txt", "a");
      MakeFolder(folder / "to");
      const FSRef source = RefAt(folder / "from/a.txt");
      const auto moveFile = [&] {
        (void)rename((folder / "from/a.txt").c_str(), (folder / "to/a.txt").c_str());
      };
      RunWithPausedCalls({{SYS_renameat2, "a.txt", 1, moveFile, error}}, [&] {
        FSRef target;
        EXPECT_EQ(noErr, each(source, RefAt(folder / "to"), &target)) << error;
        EXPECT_EQ(noErr, FSCompareFSRefs(source, target));
        EXPECT_EQ(folder / "to/a.txt", PathOf(target));
      });
    }
  }
}

TEST(FSMoveObjectSync, FailsIfSourceHasVanished) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/a.txt", "a");
  MakeFolder(folder / "to");
  const FSRef source = RefAt(folder / "from/a.txt");
  const auto moveFile = [&] {
    (void)rename((folder / "from/a.txt").c_str(), (folder / "elsewhere").c_str());
    WriteFile(folder / "to/a.txt", "another");
  };
  RunWithPausedCalls({{SYS_renameat2, "a.txt", 1, moveFile, ENOENT}}, [&] {
    FSRef target;
    EXPECT_EQ(fnfErr, FSMoveObjectSync(source, RefAt(folder / "to"), nullptr, &target));
    EXPECT_EQ("another", ReadFile(folder / "to/a.txt"));
  });
}

}  // namespace
}  // namespace tessary::test
