#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/faults/adversary.h"
#include "tests/faults/cargo.h"
#include "tests/faults/child.h"
#include "tests/faults/trial.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs among other programs that create, save, take away and exchange what the run works on.
namespace tessary {
namespace {

namespace fs = std::filesystem;
using testing::Adversaries;
using testing::Cargo;
using testing::Child;
using testing::FingerprintOf;
using testing::kHangSeconds;
using testing::MakeFolder;
using testing::MakeLink;
using testing::Obstacle;
using testing::RaceGround;
using testing::RunPlan;
using testing::SetupWith;
using testing::SoakCount;
using testing::SoakRandom;
using testing::Survey;
using testing::TemporaryFolder;
using testing::TryOften;
using testing::WriteFile;

class Race {
 public:
  Race(const std::string& source, const std::string& destination, bool isMove, SoakRandom& random)
      : source_(source),
        destination_(destination),
        plan_{isMove, random.OneIn(3), random.OneIn(3)},
        config_(source) {
    cargo_.Fill(SourceFolder(), 40 + random.Below(200), false, random);
    cargo_.Fill(SourceFolder() + "/below", 20 + random.Below(50), false, random);
    movers_ = cargo_.size();
    for (RaceGround* ground : {&source_, &destination_}) {
      Stock(*ground, random);
      BaitTrap(ground->path + "/trap");
      BaitTrap(ground->path + "/decoy/folder");
      BaitTrap(ground->path + "/decoy/folder/below");
    }
    outside_ = Outside();
  }

  void Run(SoakRandom& random, SoakCount* count) {
    Child child(plan_.Arguments(SourceFolder(), DestinationFolder()), SetupWith(config_.path()));
    Adversaries adversaries(&source_, &destination_, &cargo_, plan_.isReplacing, random.Next());
    // The first line of the log comes when the run has found both folders.
    while (child.Errors().empty() && !child.HasEnded()) std::this_thread::yield();
    adversaries.AllowFolderChanges();
    if (!child.Wait(kHangSeconds)) count->AddViolation("hung", "the run");
    adversaries.Stop();
    count->AddTries(adversaries.Count());
    const std::string errors = child.Errors();
    const bool isReported = errors.find("Sanitizer") != std::string::npos ||
                            errors.find("runtime error") != std::string::npos;
    // 3: some items could not be filed.
    if (isReported || (child.status() != 0 && child.status() != 3)) {
      count->AddViolation("crashed", errors);
    }
    Check(adversaries, count);
  }

 private:
  std::string SourceFolder() const { return source_.path + "/above/folder"; }
  std::string DestinationFolder() const { return destination_.path + "/above/folder"; }

  void Stock(const RaceGround& ground, SoakRandom& random) {
    for (uint64_t i = 0; i < Adversaries::kStock; ++i) {
      const std::string path = ground.path + "/stock/item" + std::to_string(i);
      if (random.OneIn(4)) {
        cargo_.PutLink(path);
      } else {
        cargo_.PutFile(path, random);
      }
    }
    for (int i = 0; i < 4; ++i) {
      MakeLink(ground.path + "/trap", ground.path + "/stock/link" + std::to_string(i));
    }
  }

  // What bears the run's names outside of its folders.
  void BaitTrap(const std::string& folder) {
    MakeFolder(folder);
    for (size_t item = 0; item < movers_; item += 3) {
      const std::string name = fs::path(cargo_.PathOf(item)).filename();
      WriteFile(fs::path(folder) / name, "bait");
      MakeFolder(folder + "/" + name.substr(name.rfind('.') + 1));
    }
  }

  std::string Outside() const {
    std::string text;
    for (const RaceGround* ground : {&source_, &destination_}) {
      text += FingerprintOf(ground->path + "/trap", true);
      text += FingerprintOf(ground->path + "/decoy", true);
    }
    return text;
  }

  // Where items may be; a copy's originals on the source's side only.
  std::vector<std::string> Places(const RaceGround& ground) const {
    return {ground.path + "/above/folder", ground.path + "/stock", ground.path + "/morgue"};
  }

  void Check(const Adversaries& adversaries, SoakCount* count) const {
    if (Outside() != outside_) count->AddViolation("escaped", Describe());
    const Survey source = cargo_.Look(Places(source_));
    const Survey destination = cargo_.Look(Places(destination_));
    for (const Survey* survey : {&source, &destination}) {
      for (const std::string& path : survey->leftovers) count->AddViolation("left over", path);
      for (const std::string& path : survey->strangers) {
        if (!LeadsToTrap(path)) count->AddViolation("partial", path);
      }
    }
    for (size_t item = 0; item < cargo_.size(); ++item) {
      const bool isOnOwnSide = cargo_.PathOf(item).starts_with(destination_.path)
                                   ? !destination.PlacesOf(item).empty()
                                   : !source.PlacesOf(item).empty();
      const bool isAnywhere = !source.PlacesOf(item).empty() || !destination.PlacesOf(item).empty();
      const bool isSafe = plan_.isMove ? isAnywhere : isOnOwnSide;
      if (isSafe || adversaries.Deleted().contains(item)) continue;
      if (MayBeReplaced(adversaries.PutInTheWay(), cargo_.PathOf(item))) continue;
      count->AddViolation("lost", cargo_.PathOf(item) + ", " + Describe());
    }
  }

  // True for an obstacle that makes way for another item, as the run is told to have it do. By
  // extension one of the run's is filed where it is. By date none is: they go to folders of years
  // and their days. But obstacles are filed too, as the files in any folder of the destination are,
  // and the later of two with one name and one day comes to where the first one has been filed.
  // Links stay where they are, as those that lead nowhere have no date.
  bool MayBeReplaced(const std::vector<Obstacle>& obstacles, const std::string& path) const {
    if (!plan_.isReplacing) return false;
    const auto first = std::find_if(obstacles.begin(), obstacles.end(),
                                    [&path](const Obstacle& one) { return one.path == path; });
    if (first == obstacles.end()) return false;
    if (!plan_.isByDate) return true;
    if (!first->day) return false;
    return std::any_of(first + 1, obstacles.end(), [first](const Obstacle& later) {
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

  RaceGround source_;
  RaceGround destination_;
  RunPlan plan_;
  TemporaryFolder config_;
  Cargo cargo_ = Cargo(true);
  size_t movers_ = 0;
  std::string outside_;
};

void RaceOften(const std::string& title, unsigned few, bool isMove, bool isAcross) {
  SoakCount count(title, "interferences",
                  {"lost", "partial", "escaped", "left over", "hung", "crashed"});
  const auto raceOnce = [&count, isMove](const std::string& first, const std::string& second,
                                         SoakRandom& random) {
    Race race(first, second, isMove, random);
    race.Run(random, &count);
  };
  TryOften(title, few, isAcross, false, raceOnce);
}

TEST(ARunAmongOthers, ThatMovesLosesNothingAndLeavesItsFoldersNever) {
  RaceOften("races, moving", 4, true, false);
}

TEST(ARunAmongOthers, ThatMovesAcrossVolumesLosesNothingAndLeavesItsFoldersNever) {
  RaceOften("races, moving across volumes", 4, true, true);
}

TEST(ARunAmongOthers, ThatCopiesLosesNothingAndLeavesItsFoldersNever) {
  RaceOften("races, copying", 4, false, false);
}

TEST(ARunAmongOthers, ThatCopiesAcrossVolumesLosesNothingAndLeavesItsFoldersNever) {
  RaceOften("races, copying across volumes", 3, false, true);
}

}  // namespace
}  // namespace tessary
