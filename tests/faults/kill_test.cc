#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>
#include <utility>

#include "tests/faults/child_process.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/faults/two_filesystems.h"
#include "tests/support/distinct_names.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs that are killed at random points, each followed by a second run.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kKillSuite("KilledRun");
const SoakSuite kKillVolumeSuite("KilledRunOn");

constexpr fs::perms kOwnerOnlyFolder = fs::perms::owner_all;
constexpr fs::perms kOwnerOnlyFile = fs::perms::owner_read | fs::perms::owner_write;

// A filesystem with missing capabilities, which are simulated by injected errors.
struct FilesystemProfile {
  const char* name;
  std::vector<InjectedError> injectedErrors;
  bool hasLinks = true;
  bool hasRenameNoReplace = true;
};

const InjectedError kNoTmpfile = {SYS_openat, EOPNOTSUPP, 2, O_TMPFILE & ~O_DIRECTORY};
const InjectedError kNoRenameNoReplace = {SYS_renameat2, EINVAL, 4, RENAME_NOREPLACE};
const InjectedError kNoLinks = {SYS_linkat, EPERM};

const std::vector<FilesystemProfile>& FilesystemProfiles() {
  static const std::vector<FilesystemProfile> kProfiles = {
      {"with all capabilities", {}},
      {"without O_TMPFILE", {kNoTmpfile}},
      {"without RENAME_NOREPLACE", {kNoRenameNoReplace, kNoTmpfile}, true, false},
      {"without RENAME_NOREPLACE and links",
       {kNoRenameNoReplace, kNoTmpfile, kNoLinks},
       false,
       false},
  };
  return kProfiles;
}

bool Contains(const std::vector<std::string>& paths, const std::string& path) {
  return std::ranges::find(paths, path) != paths.end();
}

// A source and a destination, a run that is killed, and the run after it.
class KilledRun {
 public:
  KilledRun(const TwoFolders& folders, bool isMove, SoakRandom& random, Soak* soak)
      : soak_(soak),
        source_(folders.first + "/source"),
        destination_(folders.second + "/destination"),
        plan_{isMove, random.OneIn(2), random.OneIn(4), !random.OneIn(3)},
        // A run by date moves existing items within the destination, even if it copies.
        deletesInPlace_((isMove || plan_.isByDate) && folders.volume != nullptr &&
                        folders.volume->HasLowerLayer()),
        profile_(PickProfile(folders, random)),
        traits_(TraitsWith(folders.traits, *profile_)),
        testData_(traits_),
        setup_(SetupWith(folders.first + "/config")) {
    MakeFolder(source_ + "/first");
    MakeFolder(destination_);
    testData_.Fill(source_, 1 + random.Below(24), plan_.isRecursing, random);
    // Filesystems list the oldest or the newest name first. With an empty folder at either end, a
    // run has begun before it lists the other folders.
    MakeFolder(source_ + "/last");
    sourceItemCount_ = testData_.size();
    PutExistingItems(random);
    if (random.OneIn(2)) testData_.PutSidecars(random);
    folders.Seal();
    setup_.injectedErrors = profile_->injectedErrors;
    nextArguments_ = plan_.Arguments(source_, destination_);
    arguments_ = PlanKilledRun(random);
  }

  // Runs and kills at a random system call, at a random change of a name, or after a random time.
  // Returns false if the run ended before that.
  bool Kill(SoakRandom& random) {
    if (random.OneIn(2)) return KillAtRandomChange(random);
    return random.OneIn(2) ? KillAtRandomStop(random) : KillAtRandomTime(random);
  }

  void CheckAfterKill() const { CheckItems(testData_.Scan({source_, destination_})); }

  // The next run succeeds, files everything and removes all stale temporary files.
  void RunAgain() {
    isRecovered_ = true;
    ChildProcess run(nextArguments_, setup_);
    AwaitSuccess(&run, Explain("the next run"), soak_);
    const ScanResult scan = testData_.Scan({source_, destination_});
    for (const std::string& path : scan.staleTempFiles) Report("stale temporary files", path);
    CheckItems(scan);
    CheckSidecars(scan);
    CheckFiled(scan);
  }

 private:
  // Capabilities are missing at random, unless the filesystem is one that really lacks them.
  static const FilesystemProfile* PickProfile(const TwoFolders& folders, SoakRandom& random) {
    const bool isComplete = folders.volume != nullptr || random.OneIn(2);
    return isComplete ? &FilesystemProfiles()[0] : &random.Pick(FilesystemProfiles());
  }

  static VolumeTraits TraitsWith(VolumeTraits traits, const FilesystemProfile& profile) {
    traits.hasHardLinks &= profile.hasLinks;
    traits.hasRenameNoReplace &= profile.hasRenameNoReplace;
    return traits;
  }

  // The killed run has the arguments of the next run, or files a part of what that files.
  std::vector<std::string> PlanKilledRun(SoakRandom& random) {
    RunPlan plan = plan_;
    if (!plan.isRecursing) return nextArguments_;
    plan.isRecursing = !random.OneIn(3);
    const fs::path item = testData_.PathOf(random.Below(sourceItemCount_));
    const std::string folder = random.OneIn(2) ? item.parent_path().string() : source_;
    return plan.Arguments(folder, destination_);
  }

  // Every item of the source is in the destination, and every name of a replaced item exists.
  void CheckFiled(const ScanResult& scan) const {
    for (size_t item = 0; item < sourceItemCount_; ++item) {
      const bool isFiled = std::ranges::any_of(scan.places[item], [this](const std::string& path) {
        return path.starts_with(destination_);
      });
      // A dangling link has no date.
      const bool isKeyless = plan_.isByDate && fs::is_symlink(testData_.PathOf(item));
      if (!isFiled && !isKeyless) Report("lost", "not filed: " + testData_.PathOf(item));
    }
    for (const size_t item : replaceable_) {
      const std::string& path = testData_.PathOf(item);
      if (!Exists(path)) Report("lost", "the name does not exist any more: " + path);
    }
  }

  // Puts items under names that the run uses. An item at the name of a package is sometimes a file.
  // A run by date does not use these names, and a package is never replaced, as it is not empty.
  void PutExistingItems(SoakRandom& random) {
    for (size_t item = 0; item < sourceItemCount_; ++item) {
      if (!random.OneIn(plan_.isReplacing ? 2 : 6)) continue;
      const std::string name = fs::path(testData_.PathOf(item)).filename();
      const std::string path = destination_ + "/" + name.substr(name.rfind('.') + 1) + "/" + name;
      if (testData_.IsPackage(item) && random.OneIn(2)) {
        testData_.PutPackage(path, random);
        continue;
      }
      const size_t existing =
          random.OneIn(5) ? testData_.PutLink(path, random) : testData_.PutFile(path, random);
      if (plan_.isReplacing && !plan_.isByDate) replaceable_.insert(existing);
    }
  }

  bool KillAtRandomStop(SoakRandom& random) {
    // Starting takes about 300 stops, an item about 100.
    const uint64_t stop = 150 + random.Below(300 + sourceItemCount_ * 100);
    how_ = "at stop " + std::to_string(stop);
    const uint64_t stops = RunAndKillAtStop(arguments_, setup_, stop);
    EXPECT_GT(stops, 0U) << "this process may not trace";
    return stops == stop;
  }

  bool KillAtRandomChange(SoakRandom& random) {
    // A move within a filesystem takes few changes, a package moved to another one takes many.
    const uint64_t stop = 1 + random.Below(10 + sourceItemCount_ * (random.OneIn(2) ? 5 : 20));
    how_ = "at stop " + std::to_string(stop) + " at a change";
    return RunAndKillAtChange(arguments_, setup_, stop);
  }

  bool KillAtRandomTime(SoakRandom& random) {
    const auto delay =
        std::chrono::microseconds(1'000 + random.Below(4'000 + sourceItemCount_ * 400));
    how_ = "after " + std::to_string(delay.count()) + " us";
    ChildProcess run(arguments_, setup_);
    std::this_thread::sleep_for(delay);
    const bool hasEnded = run.HasEnded();
    run.Kill();
    return !hasEnded;
  }

  void CheckItems(const ScanResult& scan) const {
    size_t interrupted = 0;
    for (const std::string& path : scan.unexpected) {
      // At most one item was being filed.
      if ((IsPlaceholder(path) || IsRest(path)) && ++interrupted == 1) continue;
      Report("partial", path);
    }
    for (size_t item = 0; item < testData_.size(); ++item) {
      // May be gone. The item that replaces it is checked as an item of its own.
      if (replaceable_.contains(item)) continue;
      CheckObject(item, testData_.PathOf(item), scan.places[item]);
      if (!testData_.HasSidecar(item)) continue;
      CheckObject(item, SidecarPath(testData_.PathOf(item)), scan.sidecars[item]);
    }
  }

  // Checks an item or its sidecar: where it was created, and where it is complete now.
  void CheckObject(size_t item, const std::string& path,
                   const std::vector<std::string>& places) const {
    // An existing item in the destination may be moved within it, by date.
    const bool mustStay = item < sourceItemCount_ && !plan_.isMove;
    if (places.empty() || (mustStay && !Contains(places, path))) Report("lost", path);
  }

  // Each copy of an item has its sidecar beside it, and there are no other sidecars.
  void CheckSidecars(const ScanResult& scan) const {
    for (size_t item = 0; item < testData_.size(); ++item) {
      if (!testData_.HasSidecar(item)) continue;
      std::vector<std::string> expected;
      for (const std::string& path : scan.places[item]) expected.push_back(SidecarPath(path));
      const std::vector<std::string> found = scan.sidecars[item];
      for (const std::string& path : expected) {
        if (!Contains(found, path)) Report("sidecars separated", "missing: " + path);
      }
      for (const std::string& path : found) {
        if (!Contains(expected, path)) Report("sidecars separated", "orphaned: " + path);
      }
    }
  }

  // Returns whether the path is a placeholder, which a killed run may leave: without
  // RENAME_NOREPLACE, an item's name is reserved before the item is renamed to it, by an empty
  // folder for a package and, without links, by an empty file for everything else.
  bool IsPlaceholder(const std::string& path) const {
    const fs::file_status status = fs::symlink_status(path);
    const bool isFolder = status.type() == fs::file_type::directory;
    const bool mayBe = !traits_.hasRenameNoReplace && (isFolder || !traits_.hasHardLinks) &&
                       (isFolder || status.type() == fs::file_type::regular);
    if (!mayBe || !path.starts_with(destination_) || !fs::is_empty(path)) return false;
    const fs::perms expected = isFolder ? kOwnerOnlyFolder : kOwnerOnlyFile;
    if (traits_.hasModes && (status.permissions() & fs::perms::mask) != expected) return false;
    const std::string name = fs::path(path).filename();
    for (size_t item = 0; item < testData_.size(); ++item) {
      const std::string own = fs::path(testData_.PathOf(item)).filename();
      if (testData_.IsPackage(item) == isFolder && IsSameOrDistinctName(name, own)) return true;
      if (!isFolder && testData_.HasSidecar(item) && IsNameOfSidecar(name, own)) return true;
    }
    return false;
  }

  // Returns whether the path is what a killed run may leave of a package in a lower layer, which it
  // deletes in place when the copy is complete. The next run deletes it.
  bool IsRest(const std::string& path) const {
    if (!deletesInPlace_ || isRecovered_ || !fs::is_directory(fs::symlink_status(path)))
      return false;
    const std::string name = fs::path(path).filename();
    for (size_t item = 0; item < testData_.size(); ++item) {
      const std::string own = fs::path(testData_.PathOf(item)).filename();
      if (testData_.IsPackage(item) && IsSameOrDistinctName(name, own)) return true;
    }
    return false;
  }

  static bool IsNameOfSidecar(const std::string& name, const std::string& own) {
    return name.starts_with("._") && IsSameOrDistinctName(name.substr(2), own);
  }

  void Report(const std::string& violation, const std::string& details) const {
    soak_->AddViolation(violation, Explain(details));
  }

  std::string Explain(const std::string& what) const {
    std::string text = what + ": killed " + how_ + ", " + profile_->name + ",";
    for (const std::string& argument : arguments_) text += " " + argument;
    text += "; then";
    for (const std::string& argument : nextArguments_) text += " " + argument;
    return text;
  }

  Soak* soak_;
  std::string source_;
  std::string destination_;
  RunPlan plan_;
  bool deletesInPlace_;
  bool isRecovered_ = false;
  const FilesystemProfile* profile_;
  VolumeTraits traits_;
  TestData testData_;
  size_t sourceItemCount_ = 0;
  std::set<size_t> replaceable_;  // existing items that an item of the same name replaces
  ChildSetup setup_;
  std::vector<std::string> arguments_;
  std::vector<std::string> nextArguments_;
  std::string how_;
};

const std::vector<std::string> kKillViolations = {"partial", "lost", "sidecars separated",
                                                  "stale temporary files", "hung"};

void KillAndRunAgain(const TwoFolders& folders, bool isMove, SoakRandom& random, Soak* soak) {
  KilledRun run(folders, isMove, random, soak);
  if (run.Kill(random)) soak->AddTries();
  run.CheckAfterKill();
  run.RunAgain();
}

void RunKills(const std::string& title, unsigned rounds, bool isMove, FolderPlacement placement) {
  Soak soak(title, "kills", kKillViolations);
  RunOnTwoFolders(&soak, rounds, placement, [&](TwoFolders folders, SoakRandom& random) {
    if (random.OneIn(3)) std::swap(folders.first, folders.second);
    KillAndRunAgain(folders, isMove, random, &soak);
  });
}

TEST(KilledRun, Copy) { RunKills("kill -9, copying", 20, false, FolderPlacement::kOneFilesystem); }

TEST(KilledRun, CopyAcrossFilesystems) {
  RunKills("kill -9, copying across filesystems", 20, false,
           FolderPlacement::kTwoFilesystemsOrDisk);
}

TEST(KilledRun, Move) { RunKills("kill -9, moving", 10, true, FolderPlacement::kOneFilesystem); }

TEST(KilledRun, MoveAcrossFilesystems) {
  RunKills("kill -9, moving across filesystems", 30, true, FolderPlacement::kTwoFilesystemsOrDisk);
}

class KilledRunOn : public testing::TestWithParam<VolumeKind> {};

TEST_P(KilledRunOn, MoveOrCopy) {
  Soak soak("kill -9, on " + NameOf(GetParam()), "kills", kKillViolations);
  RunOnVolume(&soak, 2, GetParam(), [&](const TwoFolders& folders, SoakRandom& random) {
    KillAndRunAgain(folders, !random.OneIn(3), random, &soak);
  });
}

INSTANTIATE_TEST_SUITE_P(EachFilesystem, KilledRunOn, testing::ValuesIn(SoakedVolumeKinds()),
                         [](const auto& kind) { return NameOf(kind.param); });

}  // namespace
}  // namespace tessary::test
