#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/child_process.h"
#include "tests/faults/crash_image.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/support/environment_variable.h"
#include "tests/support/memory_volume.h"
#include "tests/support/soak.h"
#include "tests/support/volumes.h"

// Moves across filesystems that a crash of the machine interrupts.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kCrashSuite("Crash");

// Two filesystems, and runs that move items from one to the other.
class CrashingMove {
 public:
  CrashingMove(VolumeKind from, VolumeKind to, Soak* soak)
      : from_(from), to_(to), soak_(soak), setup_(SetupWith(config_.path())) {
    // A process that is stopped would keep the counts of a coverage build locked.
    setup_.environment["GCOV_PREFIX"] = "/dev/null";
  }

  // Empty if both filesystems are available.
  std::string UnavailableReason() const {
    return from_.IsAvailable() ? to_.UnavailableReason() : from_.UnavailableReason();
  }

  // Moves new items. At random times, stops the run and checks what a crash would leave.
  void Run(SoakRandom& random) {
    FillSource(random);
    ChildProcess run(Arguments(from_.path(), to_.path()), setup_);
    constexpr int kMaxCrashes = 3;
    for (int crash = 0; crash < kMaxCrashes; ++crash) {
      Wait(random);
      run.Stop();
      if (run.HasEnded()) break;
      Crash(random.OneIn(3));
      run.Continue();
    }
    AwaitSuccess(&run, "the move", soak_);
  }

  // The same, at one random system call. The filesystems' logs are flushed before, as when other
  // programs sync their files.
  void RunToRandomStop(SoakRandom& random) {
    FillSource(random);
    const uint64_t stop = 200 + random.Below(100 * testData_->size());
    (void)RunAndKillAtStop(Arguments(from_.path(), to_.path()), setup_, stop, [this, &random] {
      SyncUnrelatedFile(from_);
      SyncUnrelatedFile(to_);
      Crash(random.OneIn(3));
    });
  }

  // The same, with the filesystems shut down during the run. Returns false where they do not
  // support that.
  bool RunWithShutdown(SoakRandom& random) {
    FillSource(random);
    ChildProcess run(Arguments(from_.path(), to_.path()), setup_);
    Wait(random);
    const bool isFirst = random.OneIn(2);
    const bool isDown = ShutDown(isFirst ? from_ : to_) && ShutDown(isFirst ? to_ : from_);
    AwaitEnd(&run, "the move after the shutdown", soak_);
    if (isDown) Crash(true);
    return isDown;
  }

 private:
  void FillSource(SoakRandom& random) {
    testData_ = std::make_unique<TestData>(AllTraits());
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
    return RunPlan{.isMove = true}.Arguments(from + "/source", to + "/destination");
  }

  // Checks both filesystems as a crash would leave them now and, if `runsAgain`, after another run.
  // The destination is copied first: what the run deletes from the source after that must already
  // be in it.
  void Crash(bool runsAgain) {
    const CrashImage to(to_);
    const CrashImage from(from_);
    if (!to.IsAvailable() || !from.IsAvailable()) {
      ADD_FAILURE() << to.UnavailableReason() << from.UnavailableReason();
      return;
    }
    soak_->AddTries();
    Check(from.path(), to.path());
    if (!runsAgain) return;
    ChildProcess run(Arguments(from.path(), to.path()), setup_);
    AwaitSuccess(&run, "the next run", soak_);
    const ScanResult scan = Check(from.path(), to.path());
    for (const std::string& path : scan.staleTempFiles) {
      soak_->AddViolation("stale temporary files", path);
    }
  }

  ScanResult Check(const std::string& from, const std::string& to) {
    ScanResult scan = testData_->Scan({from + "/source", to + "/destination"});
    for (const std::string& path : scan.unexpected) soak_->AddViolation("partial", Explain(path));
    for (size_t item = 0; item < testData_->size(); ++item) {
      if (scan.places[item].empty()) soak_->AddViolation("lost", testData_->PathOf(item));
    }
    return scan;
  }

  // A file without blocks has lost its contents.
  static std::string Explain(const std::string& path) {
    struct stat info = {};
    (void)lstat(path.c_str(), &info);
    return path + ": " + std::to_string(info.st_blocks) + " blocks\n" + FingerprintOf(path);
  }

  // Images in memory: the test is about the order of writes, and a disk would only take longer.
  EnvironmentVariable imageFolder_{"TESSARY_TEST_DIR", MemoryFolder()};
  ScratchVolume from_;
  ScratchVolume to_;
  Soak* soak_;
  TemporaryFolder config_;
  ChildSetup setup_;
  std::unique_ptr<TestData> testData_;
};

class Crash : public testing::TestWithParam<VolumeKind> {};

TEST_P(Crash, MoveAcrossFilesystems) {
  static const std::vector<VolumeKind> kSources = {VolumeKind::kExt4, VolumeKind::kXfs,
                                                   VolumeKind::kBtrfs};
  Soak soak("crash, moving to " + NameOf(GetParam()), "crashes",
            {"partial", "lost", "stale temporary files", "hung"});
  soak.Run(1, [&soak](SoakRandom& random) {
    CrashingMove move(random.Pick(kSources), GetParam(), &soak);
    if (!move.UnavailableReason().empty()) GTEST_SKIP() << move.UnavailableReason();
    constexpr int kRuns = 3;
    for (int run = 0; run < kRuns; ++run) {
      move.Run(random);
      for (int i = 0; i < kRuns; ++i) move.RunToRandomStop(random);
    }
    if (!move.RunWithShutdown(random)) std::printf("these filesystems cannot be shut down\n");
  });
}

INSTANTIATE_TEST_SUITE_P(EachFilesystem, Crash,
                         testing::Values(VolumeKind::kExt4, VolumeKind::kXfs, VolumeKind::kBtrfs),
                         [](const auto& kind) { return NameOf(kind.param); });

}  // namespace
}  // namespace tessary::test
