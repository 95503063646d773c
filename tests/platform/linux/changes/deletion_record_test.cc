#include "platform/linux/changes/deletion_record.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Packages in a lower layer of an overlay, which are deleted in place when they have been moved.
namespace tessary::test {
namespace {

using Names = std::vector<std::string>;

const std::string kRecordName = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";
const Names kInnerFiles = {"a", "b", "sub/c", "sub/link"};

class DeletionInPlace : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
  }

  std::string from() const { return volume_ / "from"; }

  static void MakePackage(const std::string& path) {
    for (const char* name : {"/a", "/b", "/sub/c"}) WriteFile(path + name, name);
    MakeLink("c", path + "/sub/link");
  }

  // Puts the package, with or without a sidecar, into the lower layer.
  void MakeLowerLayer(bool hasSidecar) {
    volume_.StartOver();
    MakePackage(from() + "/Tool.app");
    if (hasSidecar) WriteFile(from() + "/._Tool.app", "sidecar");
    MakeFolder(volume_ / "to");
    volume_.SealLowerLayer();
  }

  void Move(const std::string& to) const {
    const NSAutoreleasePool pool;
    ListFolder(from());
    FSRef target;
    EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(from() + "/Tool.app"), RefAt(to), nullptr, &target));
  }

  // Expects the whole package, with its sidecar, in at least one of the folders and nothing else in
  // either of them.
  static void ExpectWhole(const std::string& from, const std::string& to, bool hasSidecar) {
    const Names whole = hasSidecar ? Names{"._Tool.app", "Tool.app"} : Names{"Tool.app"};
    bool isAnywhere = false;
    for (const std::string& folder : {from, to}) {
      const Names names = NamesIn(folder);
      if (names.empty()) continue;
      EXPECT_EQ(whole, names) << folder;
      if (Exists(folder + "/Tool.app")) {
        EXPECT_EQ(kInnerFiles, FilesBelow(folder + "/Tool.app")) << folder;
      }
      isAnywhere = true;
    }
    EXPECT_TRUE(isAnywhere);
  }

  // Kills the move before each of its changes. `isTargetFirst`: which folder is recovered first.
  void KillMoves(const std::string& to, bool hasSidecar, bool isTargetFirst) {
    KillResult end = KillResult::kKilled;
    for (unsigned call = 1; end == KillResult::kKilled; ++call) {
      SCOPED_TRACE("killed before change " + std::to_string(call));
      MakeLowerLayer(hasSidecar);
      const TemporaryFolder outside;
      const std::string target = to.empty() ? outside.path() : to;
      end = RunAndKillBeforeCall(call, [&] { Move(target); });
      if (end == KillResult::kNotPermitted) GTEST_SKIP() << "no process may trace another here";
      ASSERT_NE(KillResult::kFailed, end);
      for (const std::string& folder :
           isTargetFirst ? Names{target, from()} : Names{from(), target}) {
        RecoverFolder(folder);
      }
      ExpectWhole(from(), target, hasSidecar);
      if (HasFailure()) return;
    }
  }

  // Writes a record of "Tool.app" in the folder `from` whose owner has crashed.
  void WriteRecord(const std::string& copies, const std::string& copy) const {
    const std::string zero(1, '\0');
    WriteFile(from() + "/" + kRecordName,
              "tessary rest 1" + zero + "Tool.app" + zero + copies + zero + copy + zero);
  }

  ScratchVolume volume_{VolumeKind::kOverlayLower};
  const TemporaryFolder folder_;
};

TEST_F(DeletionInPlace, KilledOffOverlayLeavesNoRest) { KillMoves({}, false, false); }

TEST_F(DeletionInPlace, KilledWithSidecarLeavesNoRest) { KillMoves(volume_ / "to", true, true); }

TEST_F(DeletionInPlace, RecoveryDeletesRestOfCopy) {
  MakeLowerLayer(false);
  MakePackage(folder_ / "Copy.app");
  ASSERT_EQ(0, unlink((from() + "/Tool.app/a").c_str()));
  WriteRecord(folder_.path(), "Copy.app");
  RecoverFolder(from());
  EXPECT_EQ(Names(), NamesIn(from()));
  EXPECT_EQ(kInnerFiles, FilesBelow(folder_ / "Copy.app"));
}

// The next run by date files the copy by its day before it comes to the folder of the rest.
TEST_F(DeletionInPlace, RecoveryFindsCopyInDayFolder) {
  MakeLowerLayer(true);
  MakePackage(folder_ / "2007/Nov 10, 2007/Tool.app");
  WriteFile(folder_ / "2007/Nov 10, 2007/._Tool.app", "sidecar");
  WriteFile(folder_ / "2007/Nov 09, 2007/Tool.app/a", "of another package");
  ASSERT_EQ(0, unlink((from() + "/Tool.app/a").c_str()));
  WriteRecord(folder_ / "2007", "Tool.app");
  RecoverFolder(from());
  EXPECT_EQ(Names(), NamesIn(from()));
  EXPECT_EQ(kInnerFiles, FilesBelow(folder_ / "2007/Nov 10, 2007/Tool.app"));
}

// What the record says is not believed: only what exists twice is deleted.
TEST_F(DeletionInPlace, RecoveryKeepsWhatDiffersFromCopy) {
  using Change = void (*)(const std::string& copy);
  const std::vector<Change> changes = {
      [](const std::string& copy) { WriteFile(copy + "/sub/c", "/sub/x"); },
      [](const std::string& copy) { WriteFile(copy + "/sub/c", "/sub/c longer"); },
      [](const std::string& copy) { ASSERT_EQ(0, unlink((copy + "/b").c_str())); },
      [](const std::string& copy) {
        ASSERT_EQ(0, unlink((copy + "/sub/link").c_str()));
        MakeLink("other", copy + "/sub/link");
      },
      [](const std::string& copy) {
        ASSERT_EQ(0, unlink((copy + "/b").c_str()));
        MakeLink("a", copy + "/b");
      },
      [](const std::string& copy) { ASSERT_EQ(0, rename(copy.c_str(), (copy + "2").c_str())); },
  };
  for (size_t i = 0; i < changes.size(); ++i) {
    SCOPED_TRACE(i);
    MakeLowerLayer(false);
    const TemporaryFolder copies;
    MakePackage(copies / "Copy.app");
    changes[i](copies / "Copy.app");
    WriteRecord(copies.path(), "Copy.app");
    RecoverFolder(from());
    EXPECT_EQ(Names{"Tool.app"}, NamesIn(from()));
    EXPECT_EQ(kInnerFiles, FilesBelow(from() + "/Tool.app"));
  }
}

TEST_F(DeletionInPlace, RecoveryKeepsFolderThatIsItsOwnCopy) {
  MakeLowerLayer(false);
  WriteFile(from() + "/Tool.app/sub/Copy.app/sub/c", "/sub/c");
  for (const std::string& copies : {from(), from() + "/Tool.app/sub", "/proc/self/root" + from()}) {
    WriteRecord(copies, copies == from() + "/Tool.app/sub" ? "Copy.app" : "Tool.app");
    RecoverFolder(from());
    EXPECT_TRUE(Exists(from() + "/Tool.app/a")) << copies;
  }
}

TEST_F(DeletionInPlace, RecoveryIgnoresRecordOfOtherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make files of another user";
  MakeLowerLayer(false);
  MakePackage(folder_ / "Copy.app");
  WriteRecord(folder_.path(), "Copy.app");
  ASSERT_EQ(0, chown((from() + "/" + kRecordName).c_str(), 4711, 4711));
  RecoverFolder(from());
  EXPECT_EQ(kInnerFiles, FilesBelow(from() + "/Tool.app"));
}

// On other filesystems no folder is deleted in place.
TEST_F(DeletionInPlace, RecoveryIgnoresRecordOffOverlay) {
  MakePackage(folder_ / "from/Tool.app");
  MakePackage(folder_ / "Copy.app");
  const std::string zero(1, '\0');
  WriteFile(folder_ / ("from/" + kRecordName), "tessary rest 1" + zero + "Tool.app" + zero +
                                                   folder_.path() + zero + "Copy.app" + zero);
  RecoverFolder(folder_ / "from");
  EXPECT_EQ(Names{"Tool.app"}, NamesIn(folder_ / "from"));
  EXPECT_EQ(kInnerFiles, FilesBelow(folder_ / "from/Tool.app"));
}

}  // namespace
}  // namespace tessary::test
