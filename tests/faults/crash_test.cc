#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/child_process.h"
#include "tests/faults/crash_image.h"
#include "tests/faults/test_data.h"
#include "tests/support/environment_variable.h"
#include "tests/support/soak.h"
#include "tests/support/volumes.h"

// Moves from one volume to another that a crash of the machine interrupts, and what is found on
// both afterwards.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kTimeoutSeconds = 120;  // seconds

// Images lie in memory where there is room: what is tried is the order in which things are written,
// and a disk would only take its time.
std::string ImageFolder() {
  return access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : fs::temp_directory_path().string();
}

// Two volumes, and a run that moves a cargo from one to the other.
class CrashingMove {
 public:
  CrashingMove(VolumeKind from, VolumeKind to, SoakCount* count)
      : place_("TESSARY_TEST_DIR", ImageFolder()), from_(from), to_(to), count_(count) {}

  // Empty, or why this machine cannot do it.
  std::string UnavailableReason() const {
    return from_.IsAvailable() ? to_.UnavailableReason() : from_.UnavailableReason();
  }

  // Moves a new cargo, and looks at it as crashes would leave it at moments of the run.
  void Run(SoakRandom& random) {
    FillSource(random);
    ChildProcess child(Arguments(from_.path(), to_.path()), setup_);
    constexpr int kMost = 3;
    for (int crash = 0; crash < kMost; ++crash) {
      Wait(random);
      child.Stop();
      if (child.HasEnded()) break;
      Crash(random.OneIn(3));
      child.Continue();
    }
    if (!child.Wait(kTimeoutSeconds)) count_->AddViolation("hung", "the move");
    if (child.status() != 0) count_->AddViolation("lost", "the move failed: " + child.Errors());
  }

  // The same once, at a system call, when other programs have just had what is theirs written, and
  // with it whatever the file system had in its log.
  void RunToRandomCall(SoakRandom& random) {
    FillSource(random);
    const uint64_t calls = 200 + random.Below(100 * testData_->size());
    (void)RunAndKillAtStop(Arguments(from_.path(), to_.path()), setup_, calls, [this, &random] {
      SyncUnrelatedFile(from_);
      SyncUnrelatedFile(to_);
      Crash(random.OneIn(3));
    });
  }

  // The same once, with disks that are pulled out while the run goes on. False where the file
  // systems do not know how to be without.
  bool RunWithShutdown(SoakRandom& random) {
    FillSource(random);
    ChildProcess child(Arguments(from_.path(), to_.path()), setup_);
    Wait(random);
    const bool isFirst = random.OneIn(2);
    const bool isDown = ShutDown(isFirst ? from_ : to_) && ShutDown(isFirst ? to_ : from_);
    if (!child.Wait(kTimeoutSeconds)) count_->AddViolation("hung", "the move without disks");
    if (isDown) Crash(true);
    return isDown;
  }

 private:
  void FillSource(SoakRandom& random) {
    testData_ = std::make_unique<TestData>(true);
    for (const std::string& folder : {from_ / "source", to_ / "destination"}) {
      fs::remove_all(folder);
      MakeFolder(folder);
    }
    testData_->Fill(from_ / "source", 10 + random.Below(40), random.OneIn(2), random);
    sync();
  }

  static void SyncUnrelatedFile(const ScratchVolume& volume) {
    const UniqueFd file(open((volume / "other").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_TRUE(file && write(file.get(), "other", 5) == 5 && fsync(file.get()) == 0);
  }

  static void Wait(SoakRandom& random) {
    std::this_thread::sleep_for(std::chrono::microseconds(3'000 + random.Below(60'000)));
  }

  static std::vector<std::string> Arguments(const std::string& from, const std::string& to) {
    return {"aggregate", "--recurse",      "--kind=extension",
            "--move",    from + "/source", to + "/destination"};
  }

  // The destination comes first: what leaves the source afterwards has to be there already.
  void Crash(bool runsAgain) {
    const CrashImage to(to_);
    const CrashImage from(from_);
    if (!to.IsAvailable() || !from.IsAvailable()) {
      ADD_FAILURE() << to.UnavailableReason() << from.UnavailableReason();
      return;
    }
    count_->AddTries();
    Check(from.path(), to.path());
    if (!runsAgain) return;
    ChildProcess child(Arguments(from.path(), to.path()), setup_);
    if (!child.Wait(kTimeoutSeconds)) count_->AddViolation("hung", "the next run");
    if (child.status() != 0) count_->AddViolation("lost", "the next run: " + child.Errors());
    const ScanResult scan = Check(from.path(), to.path());
    for (const std::string& path : scan.staleTempFiles) count_->AddViolation("left over", path);
  }

  ScanResult Check(const std::string& from, const std::string& to) {
    ScanResult scan = testData_->Scan({from + "/source", to + "/destination"});
    for (const std::string& path : scan.unexpected) count_->AddViolation("partial", Explain(path));
    for (size_t item = 0; item < testData_->size(); ++item) {
      if (scan.PlacesOf(item).empty()) count_->AddViolation("lost", testData_->PathOf(item));
    }
    return scan;
  }

  // With what is there of it, and of blocks, which a file without any has lost.
  static std::string Explain(const std::string& path) {
    struct stat info = {};
    (void)lstat(path.c_str(), &info);
    return path + ": " + std::to_string(info.st_blocks) + " blocks\n" + FingerprintOf(path, true);
  }

  EnvironmentVariable place_;
  ScratchVolume from_;
  ScratchVolume to_;
  SoakCount* count_;
  TemporaryFolder config_;
  // A run that is stopped in the middle would keep the counts of a build that counts locked.
  ChildSetup setup_ = {.environment = {{"GCOV_PREFIX", "/dev/null"},
                                       {"XDG_CONFIG_HOME", config_.path()},
                                       {"XDG_DATA_HOME", config_.path()},
                                       {"XDG_DATA_DIRS", config_.path()}}};
  std::unique_ptr<TestData> testData_;
};

class CrashTest : public testing::TestWithParam<VolumeKind> {};

TEST_P(CrashTest, LeavesEveryItemOfAMoveWholeOnAtLeastOneSide) {
  static const std::vector<VolumeKind> kSources = {VolumeKind::kExt4, VolumeKind::kXfs,
                                                   VolumeKind::kBtrfs};
  const std::string title = "crash, moving to " + NameOf(GetParam());
  SoakCount count(title, "crashes", {"partial", "lost", "left over", "hung"});
  for (SoakRounds rounds(title, 1); rounds.Next();) {
    SCOPED_TRACE(rounds.Describe());
    CrashingMove move(rounds.random().Pick(kSources), GetParam(), &count);
    if (!move.UnavailableReason().empty()) GTEST_SKIP() << move.UnavailableReason();
    constexpr int kRuns = 3;
    for (int run = 0; run < kRuns; ++run) {
      move.Run(rounds.random());
      for (int i = 0; i < kRuns; ++i) move.RunToRandomCall(rounds.random());
    }
    if (!move.RunWithShutdown(rounds.random())) std::printf("no disks can be pulled out here\n");
  }
}

INSTANTIATE_TEST_SUITE_P(EachFileSystem, CrashTest,
                         testing::Values(VolumeKind::kExt4, VolumeKind::kXfs, VolumeKind::kBtrfs),
                         [](const auto& kind) { return NameOf(kind.param); });

}  // namespace
}  // namespace tessary::test
