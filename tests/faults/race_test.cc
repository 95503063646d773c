#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/faults/child_process.h"
#include "tests/faults/concurrent_modifier.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs among other programs that create, save, take away and exchange what the run works on.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

class Race {
 public:
  Race(const std::string& source, const std::string& destination, bool isMove, SoakRandom& random)
      : source_(source),
        destination_(destination),
        plan_{isMove, random.OneIn(3), random.OneIn(3)},
        config_(source) {
    testData_.Fill(SourceFolder(), 40 + random.Below(200), false, random);
    testData_.Fill(SourceFolder() + "/below", 20 + random.Below(50), false, random);
    sourceItemCount_ = testData_.size();
    for (RaceDirectory* ground : {&source_, &destination_}) {
      MakeSpares(*ground, random);
      FillTrap(ground->path + "/trap");
      FillTrap(ground->path + "/decoy/folder");
      FillTrap(ground->path + "/decoy/folder/below");
    }
    outside_ = Outside();
  }

  void Run(SoakRandom& random, SoakCount* count) {
    ChildProcess child(plan_.Arguments(SourceFolder(), DestinationFolder()),
                       SetupWith(config_.path()));
    ConcurrentModifiers modifiers(&source_, &destination_, &testData_, plan_.isReplacing,
                                  random.Next());
    // The first line of the log comes when the run has found both folders.
    while (child.Errors().empty() && !child.HasEnded()) std::this_thread::yield();
    modifiers.AllowFolderChanges();
    if (!child.Wait(kHangSeconds)) count->AddViolation("hung", "the run");
    modifiers.Stop();
    count->AddTries(modifiers.Count());
    const std::string errors = child.Errors();
    const bool isReported = errors.find("Sanitizer") != std::string::npos ||
                            errors.find("runtime error") != std::string::npos;
    // 3: some items could not be filed.
    if (isReported || (child.status() != 0 && child.status() != 3)) {
      count->AddViolation("crashed", errors);
    }
    Check(modifiers, count);
  }

 private:
  std::string SourceFolder() const { return source_.path + "/above/folder"; }
  std::string DestinationFolder() const { return destination_.path + "/above/folder"; }

  void MakeSpares(const RaceDirectory& ground, SoakRandom& random) {
    for (uint64_t i = 0; i < ConcurrentModifiers::kSpareCount; ++i) {
      const std::string path = ground.path + "/spares/item" + std::to_string(i);
      if (random.OneIn(4)) {
        testData_.PutLink(path);
      } else {
        testData_.PutFile(path, random);
      }
    }
    for (int i = 0; i < 4; ++i) {
      MakeLink(ground.path + "/trap", ground.path + "/spares/link" + std::to_string(i));
    }
  }

  // What bears the run's names outside of its folders.
  void FillTrap(const std::string& folder) {
    MakeFolder(folder);
    for (size_t item = 0; item < sourceItemCount_; item += 3) {
      const std::string name = fs::path(testData_.PathOf(item)).filename();
      WriteFile(fs::path(folder) / name, "bait");
      MakeFolder(folder + "/" + name.substr(name.rfind('.') + 1));
    }
  }

  std::string Outside() const {
    std::string text;
    for (const RaceDirectory* ground : {&source_, &destination_}) {
      text += FingerprintOf(ground->path + "/trap", true);
      text += FingerprintOf(ground->path + "/decoy", true);
    }
    return text;
  }

  // Where items may be; a copy's originals on the source's side only.
  std::vector<std::string> Places(const RaceDirectory& ground) const {
    return {ground.path + "/above/folder", ground.path + "/spares", ground.path + "/removed"};
  }

  void Check(const ConcurrentModifiers& modifiers, SoakCount* count) const {
    if (Outside() != outside_) count->AddViolation("escaped", Describe());
    const ScanResult source = testData_.Scan(Places(source_));
    const ScanResult destination = testData_.Scan(Places(destination_));
    for (const ScanResult* scan : {&source, &destination}) {
      for (const std::string& path : scan->staleTempFiles) count->AddViolation("left over", path);
      for (const std::string& path : scan->unexpected) {
        if (!LeadsToTrap(path)) count->AddViolation("partial", path);
      }
    }
    for (size_t item = 0; item < testData_.size(); ++item) {
      const bool isOnOwnSide = testData_.PathOf(item).starts_with(destination_.path)
                                   ? !destination.PlacesOf(item).empty()
                                   : !source.PlacesOf(item).empty();
      const bool isAnywhere = !source.PlacesOf(item).empty() || !destination.PlacesOf(item).empty();
      const bool isSafe = plan_.isMove ? isAnywhere : isOnOwnSide;
      if (isSafe || modifiers.Deleted().contains(item)) continue;
      if (MayBeReplaced(modifiers.Conflicts(), testData_.PathOf(item))) continue;
      count->AddViolation("lost", testData_.PathOf(item) + ", " + Describe());
    }
  }

  // True for an obstacle that makes way for another item, as the run is told to have it do. By
  // extension one of the run's is filed where it is. By date none is: they go to folders of years
  // and their days. But conflicts are filed too, as the files in any folder of the destination are,
  // and the later of two with one name and one day comes to where the first one has been filed.
  // Links stay where they are, as those that lead nowhere have no date.
  bool MayBeReplaced(const std::vector<ConflictingItem>& conflicts, const std::string& path) const {
    if (!plan_.isReplacing) return false;
    const auto first =
        std::find_if(conflicts.begin(), conflicts.end(),
                     [&path](const ConflictingItem& one) { return one.path == path; });
    if (first == conflicts.end()) return false;
    if (!plan_.isByDate) return true;
    if (!first->day) return false;
    return std::any_of(first + 1, conflicts.end(), [first](const ConflictingItem& later) {
      return later.name == first->name && later.day == first->day;
    });
  }

  // One of the links that are put in the place of folders may be filed as a link.
  static bool LeadsToTrap(const std::string& path) {
    return fs::is_symlink(path) && fs::read_symlink(path).filename() == "trap";
  }

  std::string Describe() const {
    return std::string(plan_.isMove ? "moving" : "copying") +
           (plan_.isByDate ? " by date" : " by extension") +
           (plan_.isReplacing ? ", replacing" : "");
  }

  RaceDirectory source_;
  RaceDirectory destination_;
  RunPlan plan_;
  TemporaryFolder config_;
  TestData testData_ = TestData(true);
  size_t sourceItemCount_ = 0;
  std::string outside_;
};

void RunRaces(const std::string& title, unsigned few, bool isMove, bool isAcross) {
  SoakCount count(title, "interferences",
                  {"lost", "partial", "escaped", "left over", "hung", "crashed"});
  const auto runRace = [&count, isMove](const std::string& first, const std::string& second,
                                        SoakRandom& random) {
    Race race(first, second, isMove, random);
    race.Run(random, &count);
  };
  RunSoakRounds(title, few, isAcross, false, runRace);
}

TEST(ARunAmongOthers, ThatMovesLosesNothingAndLeavesItsFoldersNever) {
  RunRaces("races, moving", 4, true, false);
}

TEST(ARunAmongOthers, ThatMovesAcrossVolumesLosesNothingAndLeavesItsFoldersNever) {
  RunRaces("races, moving across volumes", 4, true, true);
}

TEST(ARunAmongOthers, ThatCopiesLosesNothingAndLeavesItsFoldersNever) {
  RunRaces("races, copying", 4, false, false);
}

TEST(ARunAmongOthers, ThatCopiesAcrossVolumesLosesNothingAndLeavesItsFoldersNever) {
  RunRaces("races, copying across volumes", 3, false, true);
}

}  // namespace
}  // namespace tessary::test
