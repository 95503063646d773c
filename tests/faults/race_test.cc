#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "tests/faults/child_process.h"
#include "tests/faults/concurrent_modifier.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/faults/two_filesystems.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs while other programs create, save, move and exchange what the run works on.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kRaceSuite("ConcurrentChanges");
const SoakSuite kRaceVolumeSuite("ConcurrentChangesOn");

class Race {
 public:
  Race(const TwoFolders& folders, bool isMove, SoakRandom& random, Soak* soak)
      : soak_(soak),
        source_(folders.first),
        destination_(folders.second),
        traits_(folders.traits),
        plan_{isMove, random.OneIn(3), random.OneIn(3)},
        config_(folders.first),
        testData_(folders.traits) {
    // Filesystems made for the test are slow.
    const uint64_t maxItems = folders.volume == nullptr ? 240 : 80;
    testData_.Fill(source_.RunFolder(), 40 + random.Below(maxItems - 40), false, random);
    testData_.Fill(source_.RunFolder() + "/below", 20 + random.Below(50), false, random);
    sourceItemCount_ = testData_.size();
    for (RaceDirectory* directory : {&source_, &destination_}) {
      CreateSpares(*directory, random);
      FillTrap(directory->path + "/trap");
      FillTrap(directory->path + "/decoy/folder");
      FillTrap(directory->path + "/decoy/folder/below");
    }
    folders.Seal();
    for (RaceDirectory* directory : {&source_, &destination_}) directory->Open();
    outside_ = FingerprintOutside();
  }

  void Run(SoakRandom& random) {
    ChildProcess run(plan_.Arguments(source_.RunFolder(), destination_.RunFolder()),
                     SetupWith(config_.path()));
    ConcurrentModifiers modifiers(&source_, &destination_, &testData_, traits_, plan_.isReplacing,
                                  random.Next());
    // The first log line shows that the run has resolved both folders.
    while (run.Errors().empty() && !run.HasEnded()) std::this_thread::yield();
    modifiers.AllowFolderChanges();
    AwaitEnd(&run, "the run", soak_);
    modifiers.Stop();
    soak_->AddTries(modifiers.Count());
    CheckExit(run);
    Check(modifiers);
  }

 private:
  void CreateSpares(const RaceDirectory& directory, SoakRandom& random) {
    for (uint64_t i = 0; i < ConcurrentModifiers::kSpareCount; ++i) {
      const std::string path = directory.path + "/spares/item" + std::to_string(i);
      if (random.OneIn(4)) {
        testData_.PutLink(path, random);
      } else {
        testData_.PutFile(path, random);
      }
    }
    for (int i = 0; i < 4; ++i) {
      if (!traits_.hasRenameExchange) continue;
      MakeLink(directory.path + "/trap", directory.path + "/spares/link" + std::to_string(i));
    }
  }

  // Creates files and folders with the names that the run uses, outside of its folders.
  void FillTrap(const std::string& folder) {
    MakeFolder(folder);
    for (size_t item = 0; item < sourceItemCount_; item += 3) {
      const std::string name = fs::path(testData_.PathOf(item)).filename();
      WriteFile(fs::path(folder) / name, "bait");
      MakeFolder(folder + "/" + name.substr(name.rfind('.') + 1));
    }
  }

  // Everything outside the run's folders, which must not change.
  std::string FingerprintOutside() const {
    std::string text;
    for (const RaceDirectory* directory : {&source_, &destination_}) {
      text += FingerprintOf(directory->path + "/trap", traits_);
      text += FingerprintOf(directory->path + "/decoy", traits_);
    }
    return text;
  }

  void CheckExit(const ChildProcess& run) const {
    const std::string errors = run.Errors();
    const bool hasSanitizerReport = errors.find("Sanitizer") != std::string::npos ||
                                    errors.find("runtime error") != std::string::npos;
    // 3: some items could not be filed.
    const bool isExpected = run.status() == 0 || run.status() == 3;
    if (hasSanitizerReport || !isExpected) soak_->AddViolation("crashed", errors);
  }

  // The folders of a side in which items may be.
  static std::vector<std::string> ItemFolders(const RaceDirectory& directory) {
    return {directory.RunFolder(), directory.path + "/spares", directory.path + "/removed"};
  }

  void Check(const ConcurrentModifiers& modifiers) const {
    if (FingerprintOutside() != outside_) soak_->AddViolation("changed outside", Describe());
    const ScanResult source = testData_.Scan(ItemFolders(source_));
    const ScanResult destination = testData_.Scan(ItemFolders(destination_));
    for (const ScanResult* scan : {&source, &destination}) {
      for (const std::string& path : scan->staleTempFiles) {
        soak_->AddViolation("stale temporary files", path);
      }
      for (const std::string& path : scan->unexpected) {
        if (!IsLinkToTrap(path)) soak_->AddViolation("partial", path);
      }
    }
    for (size_t item = 0; item < testData_.size(); ++item) {
      const bool isInSource = !source.places[item].empty();
      const bool isInDestination = !destination.places[item].empty();
      const bool isFromSource = !testData_.PathOf(item).starts_with(destination_.path);
      // A copy leaves every item on its own side, too.
      const bool isSafe = plan_.isMove ? isInSource || isInDestination
                                       : (isFromSource ? isInSource : isInDestination);
      if (isSafe || modifiers.Deleted().contains(item)) continue;
      if (MayBeReplaced(modifiers.Conflicts(), testData_.PathOf(item))) continue;
      soak_->AddViolation("lost", testData_.PathOf(item) + ", " + Describe());
    }
  }

  // Returns whether the run may have replaced the conflicting item that was created at the path.
  // By extension, any of them. By date, items are filed into folders of years and days, where none
  // was put. But the run also sorts the files in each folder of the destination by day, and of two
  // with one name and one day the later replaces the earlier. Links stay: the dangling ones have no
  // date.
  bool MayBeReplaced(const std::vector<ConflictingItem>& conflicts, const std::string& path) const {
    if (!plan_.isReplacing) return false;
    const auto first = std::ranges::find(conflicts, path, &ConflictingItem::path);
    if (first == conflicts.end()) return false;
    if (!plan_.isByDate) return true;
    if (!first->day) return false;
    return std::any_of(first + 1, conflicts.end(), [first](const ConflictingItem& later) {
      return later.name == first->name && later.day == first->day;
    });
  }

  // A link that stood in the place of a folder may have been filed as the link that it is.
  static bool IsLinkToTrap(const std::string& path) {
    return fs::is_symlink(path) && fs::read_symlink(path).filename() == "trap";
  }

  std::string Describe() const {
    return std::string(plan_.isMove ? "moving" : "copying") +
           (plan_.isByDate ? " by date" : " by extension") +
           (plan_.isReplacing ? ", replacing" : "");
  }

  Soak* soak_;
  RaceDirectory source_;
  RaceDirectory destination_;
  VolumeTraits traits_;
  RunPlan plan_;
  TemporaryFolder config_;
  TestData testData_;
  size_t sourceItemCount_ = 0;
  std::string outside_;
};

const std::vector<std::string> kRaceViolations = {
    "lost", "partial", "changed outside", "stale temporary files", "hung", "crashed"};

void RunRaces(const std::string& title, unsigned rounds, bool isMove, FolderPlacement placement) {
  Soak soak(title, "concurrent modifications", kRaceViolations);
  RunOnTwoFolders(&soak, rounds, placement, [&](const TwoFolders& folders, SoakRandom& random) {
    Race(folders, isMove, random, &soak).Run(random);
  });
}

TEST(ConcurrentChanges, Move) {
  RunRaces("races, moving", 4, true, FolderPlacement::kOneFilesystem);
}

TEST(ConcurrentChanges, MoveAcrossFilesystems) {
  RunRaces("races, moving across filesystems", 4, true, FolderPlacement::kTwoFilesystems);
}

TEST(ConcurrentChanges, Copy) {
  RunRaces("races, copying", 4, false, FolderPlacement::kOneFilesystem);
}

TEST(ConcurrentChanges, CopyAcrossFilesystems) {
  RunRaces("races, copying across filesystems", 3, false, FolderPlacement::kTwoFilesystems);
}

class ConcurrentChangesOn : public testing::TestWithParam<VolumeKind> {};

TEST_P(ConcurrentChangesOn, MoveOrCopy) {
  const bool isFast = GetParam() == VolumeKind::kOverlay || GetParam() == VolumeKind::kOverlayLower;
  if (!isFast && !IsLongSoak()) GTEST_SKIP() << "creating the items takes too long";
  Soak soak("races, on " + NameOf(GetParam()), "concurrent modifications", kRaceViolations);
  RunOnVolume(&soak, 1, GetParam(), [&](const TwoFolders& folders, SoakRandom& random) {
    Race(folders, !random.OneIn(3), random, &soak).Run(random);
  });
}

INSTANTIATE_TEST_SUITE_P(EachFilesystem, ConcurrentChangesOn,
                         testing::ValuesIn(SoakedVolumeKinds()),
                         [](const auto& kind) { return NameOf(kind.param); });

}  // namespace
}  // namespace tessary::test
