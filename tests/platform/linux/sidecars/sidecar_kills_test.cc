#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Items with sidecars, moved or copied to filesystems whose times are coarser than those of the
// source: a process that is killed before any of its calls leaves nothing that recovery does not
// bring together again.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class SidecarKills : public testing::TestWithParam<VolumeKind> {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
    if (!AreOnDifferentVolumes(volume_.path(), folder_.path())) GTEST_SKIP() << "one filesystem";
  }

  std::string from() const { return folder_ / "from"; }
  std::string to() const { return volume_ / "to"; }

  void MakeItem() const {
    for (const std::string& folder : {from(), to()}) {
      fs::remove_all(folder);
      MakeFolder(folder);
    }
    WriteFile(from() + "/a", "item");
    WriteFile(from() + "/._a", "sidecar");
    const timespec time = {1'600'000'001, 987'654'321};
    const std::array<timespec, 2> times = {time, time};
    for (const char* name : {"/a", "/._a"}) {
      ASSERT_EQ(0, utimensat(AT_FDCWD, (from() + name).c_str(), times.data(), 0));
    }
  }

  void Transfer(bool isMove) const {
    const NSAutoreleasePool pool;
    ListFolder(from());
    FSRef target;
    const auto transfer = isMove ? FSMoveObjectSync : FSCopyObjectSync;
    EXPECT_EQ(noErr, transfer(RefAt(from() + "/a"), RefAt(to()), nullptr, &target));
  }

  const ScratchVolume volume_{GetParam()};
  const TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Filesystem, SidecarKills,
                         testing::Values(VolumeKind::kTmpfs, VolumeKind::kExfat, VolumeKind::kNtfs,
                                         VolumeKind::kSshfs),
                         [](const auto& row) { return NameOf(row.param); });

TEST_P(SidecarKills, RecoveryUnitesItemAndSidecar) {
  const Names both = {"._a", "a"};
  for (const bool isMove : {true, false}) {
    KillResult end = KillResult::kKilled;
    for (unsigned call = 1; end == KillResult::kKilled; ++call) {
      SCOPED_TRACE((isMove ? "move, killed before change " : "copy, killed before change ") +
                   std::to_string(call));
      MakeItem();
      end = RunAndKillBeforeCall(call, [&] { Transfer(isMove); });
      if (end == KillResult::kNotPermitted) GTEST_SKIP() << "no process may trace another here";
      ASSERT_NE(KillResult::kFailed, end);
      // The order in which a run that sorts into the folder recovers.
      RecoverFolder(from());
      RecoverFolder(to());
      const Names left = NamesIn(from());
      Names arrived = NamesIn(to());
      // Without RENAME_NOREPLACE an empty file reserves the name of the item, which may stay.
      if (arrived == Names{"a"} && ReadFile(to() + "/a").empty()) arrived.clear();
      EXPECT_TRUE(left == both || (isMove && left.empty())) << testing::PrintToString(left);
      EXPECT_TRUE(arrived == both || (arrived.empty() && left == both))
          << testing::PrintToString(arrived);
    }
  }
}

}  // namespace
}  // namespace tessary::test
