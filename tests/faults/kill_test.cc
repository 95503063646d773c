#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "tests/faults/child_process.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs that are killed wherever they happen to be, and the next run over what they left.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr fs::perms kOwnerOnlyFolder = fs::perms::owner_all;
constexpr fs::perms kOwnerOnlyFile = fs::perms::owner_read | fs::perms::owner_write;

// What volumes can be without.
struct VolumeProfile {
  const char* name;
  std::vector<InjectedError> injectedErrors;
  bool hasLinks = true;
  bool hasRenameNoReplace =
      true;  // without it, a name is taken first, by an empty folder or by a link
};

const InjectedError kNoTmpfile = {SYS_openat, EOPNOTSUPP, 2, O_TMPFILE & ~O_DIRECTORY};
const InjectedError kNoRenameNoReplace = {SYS_renameat2, EINVAL, 4, RENAME_NOREPLACE};
const InjectedError kNoLinks = {SYS_linkat, EPERM};

const std::vector<VolumeProfile>& VolumeProfiles() {
  static const std::vector<VolumeProfile> kProfiles = {
      {"with everything", {}},
      {"without unnamed files", {kNoTmpfile}},
      {"without the flag", {kNoRenameNoReplace, kNoTmpfile}, true, false},
      {"without the flag and links", {kNoRenameNoReplace, kNoTmpfile, kNoLinks}, false, false},
  };
  return kProfiles;
}

// One killed run: what there was before it, what it was told, and what the next one is told.
class KilledRun {
 public:
  KilledRun(const std::string& source, const std::string& destination, bool isMove,
            SoakRandom& random)
      : source_(source + "/source"),
        destination_(destination + "/destination"),
        plan_{isMove, random.OneIn(2), random.OneIn(4), !random.OneIn(3)},
        volume_(random.OneIn(2) ? &VolumeProfiles()[0] : &random.Pick(VolumeProfiles())),
        testData_(volume_->hasLinks),
        setup_(SetupWith(source + "/config")) {
    MakeFolder(source_ + "/first");
    MakeFolder(destination_);
    testData_.Fill(source_, 1 + random.Below(24), plan_.isRecursing, random);
    // VolumeProfiles list the first or the last one first. With that a run has begun before it
    // comes to the other folders.
    MakeFolder(source_ + "/last");
    sourceItemCount_ = testData_.size();
    PutExistingItems(random);
    // Without links, what holds the name of a sidecar takes that of its item, too, and the next one
    // gets another.
    if (volume_->hasLinks && random.OneIn(2)) testData_.PutSidecars(random);
    setup_.injectedErrors = volume_->injectedErrors;
    nextArguments_ = plan_.Arguments(source_, destination_);
    arguments_ = PlanKilledRun(random);
  }

  // Kills it at any system call, at any that changes names, or at any time. False where it had
  // ended before that.
  bool Kill(SoakRandom& random) {
    if (random.OneIn(2)) return KillAtRandomChange(random);
    return random.OneIn(2) ? KillAtRandomCall(random) : KillAtRandomTime(random);
  }

  void CheckAfterKill(SoakCount* count) const {
    CheckItems(testData_.Scan({source_, destination_}), count);
  }

  // Everything is filed by a run that nobody kills, and nothing hidden is left anywhere.
  void RunAgain(SoakRandom& random, SoakCount* count) {
    AddSidecarToSource(random);
    ChildProcess child(nextArguments_, setup_);
    if (!child.Wait(kHangSeconds)) count->AddViolation("hung", Explain("the next run"));
    if (child.status() != 0) {
      count->AddViolation("lost", Explain("the next run failed: " + child.Errors()));
    }
    const ScanResult scan = testData_.Scan({source_, destination_});
    for (const std::string& path : scan.staleTempFiles)
      count->AddViolation("left over", Explain(path));
    CheckItems(scan, count);
    CheckSidecars(scan, count);
    CheckFiled(scan, count);
  }

 private:
  // What the killed run is told: the same, or less of it, which the next one has to make up for.
  std::vector<std::string> PlanKilledRun(SoakRandom& random) {
    RunPlan plan = plan_;
    if (!plan.isRecursing) return nextArguments_;
    plan.isRecursing = !random.OneIn(3);
    const fs::path item = testData_.PathOf(random.Below(sourceItemCount_));
    const std::string folder = random.OneIn(2) ? item.parent_path().string() : source_;
    return plan.Arguments(folder, destination_);
  }

  // What was being replaced together with its sidecar is finished by a run that has seen one when
  // it comes to that folder; the others do not look for it.
  void AddSidecarToSource(SoakRandom& random) {
    if (!plan_.isReplacing) return;
    const ScanResult scan = testData_.Scan({source_, destination_});
    const bool isAnyLeft =
        std::ranges::any_of(scan.staleTempFiles, [this](const std::string& path) {
          return path.starts_with(destination_) &&
                 path.find("/.tessary-pair-") != std::string::npos;
        });
    const bool isOneSeen = std::ranges::any_of(scan.sidecars, [this](const auto& sidecar) {
      return std::ranges::any_of(
          sidecar.second, [this](const fs::path& path) { return path.parent_path() == source_; });
    });
    if (!isAnyLeft || isOneSeen) return;
    testData_.PutSidecar(testData_.PutFile(source_ + "/another.txt", random), random);
  }

  // Every mover has come to the destination, and what has made way for one has left it its name.
  void CheckFiled(const ScanResult& scan, SoakCount* count) const {
    for (size_t item = 0; item < sourceItemCount_; ++item) {
      const std::vector<std::string> places = scan.PlacesOf(item);
      const bool hasArrived = std::ranges::any_of(
          places, [this](const std::string& path) { return path.starts_with(destination_); });
      // A link to nothing has no date.
      const bool isKeyless = plan_.isByDate && fs::is_symlink(testData_.PathOf(item));
      if (!hasArrived && !isKeyless) {
        count->AddViolation("lost", Explain("not filed: " + testData_.PathOf(item)));
      }
    }
    for (const size_t item : replaceable_) {
      const std::string& path = testData_.PathOf(item);
      if (!fs::exists(fs::symlink_status(path))) {
        count->AddViolation("lost", Explain("nothing is there any more: " + path));
      }
    }
  }

  // Items that lie in the way, of a package at times one that is a file. By date nothing goes into
  // these folders. A folder that holds something never makes way.
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
          random.OneIn(5) ? testData_.PutLink(path) : testData_.PutFile(path, random);
      if (plan_.isReplacing && !plan_.isByDate) replaceable_.insert(existing);
    }
  }

  bool KillAtRandomCall(SoakRandom& random) {
    // About what the start and one item come to.
    const uint64_t most = 300 + sourceItemCount_ * 100;
    const uint64_t call = 150 + random.Below(most);
    how_ = "at call " + std::to_string(call);
    const uint64_t seen = RunAndKillAtStop(arguments_, setup_, call);
    EXPECT_GT(seen, 0U) << "this process may not trace";
    return seen == call;
  }

  bool KillAtRandomChange(SoakRandom& random) {
    // A move within a volume takes few, a package that goes to another one many.
    const uint64_t change = 1 + random.Below(10 + sourceItemCount_ * (random.OneIn(2) ? 5 : 20));
    how_ = "at change " + std::to_string(change);
    return RunAndKillAtChange(arguments_, setup_, change);
  }

  bool KillAtRandomTime(SoakRandom& random) {
    const auto delay =
        std::chrono::microseconds(1'000 + random.Below(4'000 + sourceItemCount_ * 400));
    how_ = "after " + std::to_string(delay.count()) + " us";
    ChildProcess child(arguments_, setup_);
    std::this_thread::sleep_for(delay);
    const bool hasEnded = child.HasEnded();
    child.Kill();
    return !hasEnded;
  }

  void CheckItems(const ScanResult& scan, SoakCount* count) const {
    size_t placeholders = 0;
    for (const std::string& path : scan.unexpected) {
      // Only the one that was being filed has one.
      if (IsPlaceholder(path) && ++placeholders == 1) continue;
      count->AddViolation("partial", Explain(path));
    }
    for (size_t item = 0; item < testData_.size(); ++item) {
      // It is whole or gone, and what it has made way for is looked at with the others.
      if (replaceable_.contains(item)) continue;
      CheckObject(item, testData_.PathOf(item), scan.PlacesOf(item), count);
      if (!testData_.HasSidecar(item)) continue;
      CheckObject(item, SidecarPath(testData_.PathOf(item)), scan.SidecarsOf(item), count);
    }
  }

  // An item or its sidecar, by where it was put and the places where it is.
  void CheckObject(size_t item, const std::string& path, const std::vector<std::string>& places,
                   SoakCount* count) const {
    const bool stays = item < sourceItemCount_ && !plan_.isMove;
    const bool isThere = Contains(places, path);
    // What lies in the way may be sorted too, by the date, but goes nowhere else.
    if (places.empty() || (stays && !isThere)) count->AddViolation("lost", Explain(path));
  }

  // Wherever an item is, its sidecar is beside it, and no sidecar is anywhere else.
  void CheckSidecars(const ScanResult& scan, SoakCount* count) const {
    for (size_t item = 0; item < testData_.size(); ++item) {
      if (!testData_.HasSidecar(item)) continue;
      std::vector<std::string> expected;
      for (const std::string& path : scan.PlacesOf(item)) expected.push_back(SidecarPath(path));
      const std::vector<std::string> found = scan.SidecarsOf(item);
      for (const std::string& path : expected) {
        if (!Contains(found, path)) count->AddViolation("parted", Explain("missing: " + path));
      }
      for (const std::string& path : found) {
        if (!Contains(expected, path)) count->AddViolation("parted", Explain("alone: " + path));
      }
    }
  }

  static bool Contains(const std::vector<std::string>& paths, const std::string& path) {
    return std::ranges::find(paths, path) != paths.end();
  }

  // What holds the name of an item until the whole one is there, on volumes that know no call which
  // replaces nothing: a kill between the two leaves it, and no call closes that gap. It is an empty
  // folder for a package, and an empty file for the rest where there are no links either, in the
  // folder that the item goes to, and closed to everybody else.
  bool IsPlaceholder(const std::string& path) const {
    const fs::file_status status = fs::symlink_status(path);
    const bool isFolder = status.type() == fs::file_type::directory;
    const bool mayBe = !volume_->hasRenameNoReplace && (isFolder || !volume_->hasLinks) &&
                       (isFolder || status.type() == fs::file_type::regular);
    if (!mayBe || !path.starts_with(destination_) || !fs::is_empty(path)) return false;
    if ((status.permissions() & fs::perms::mask) !=
        (isFolder ? kOwnerOnlyFolder : kOwnerOnlyFile)) {
      return false;
    }
    for (size_t item = 0; item < testData_.size(); ++item) {
      const std::string& own = testData_.PathOf(item);
      if (testData_.IsPackage(item) == isFolder && IsNameFor(path, own)) return true;
    }
    return false;
  }

  // Whether a path ends in the name of the item, or in a distinct one that is made of it.
  static bool IsNameFor(const fs::path& path, const fs::path& item) {
    const std::string name = path.filename();
    return path.filename() == item.filename() ||
           (name.starts_with(item.stem().string() + " - ") && path.extension() == item.extension());
  }

  std::string Explain(const std::string& what) const {
    std::string text = what + ": killed " + how_ + ", " + volume_->name + ", ";
    for (const std::string& argument : arguments_) text += " " + argument;
    text += "; then";
    for (const std::string& argument : nextArguments_) text += " " + argument;
    return text;
  }

  std::string source_;
  std::string destination_;
  RunPlan plan_;
  const VolumeProfile* volume_;
  TestData testData_;
  size_t sourceItemCount_ = 0;
  std::set<size_t> replaceable_;  // what the run is told to remove for another of the same name
  ChildSetup setup_;
  std::vector<std::string> arguments_;
  std::vector<std::string> nextArguments_;
  std::string how_;
};

void RunKills(const std::string& title, unsigned few, bool isMove, bool isAcross) {
  SoakCount count(title, "kills", {"partial", "lost", "parted", "left over", "hung"});
  const auto runKill = [&count, isMove](const std::string& first, const std::string& second,
                                        SoakRandom& random) {
    const bool isReverse = random.OneIn(3);
    KilledRun run(isReverse ? second : first, isReverse ? first : second, isMove, random);
    if (run.Kill(random)) count.AddTries();
    run.CheckAfterKill(&count);
    run.RunAgain(random, &count);
  };
  RunSoakRounds(title, few, isAcross, true, runKill);
}

TEST(AKilledRun, ThatCopiesLeavesEveryItemWholeAndNothingElse) {
  RunKills("kill -9, copying", 20, false, false);
}

TEST(AKilledRun, ThatCopiesAcrossVolumesLeavesEveryItemWholeAndNothingElse) {
  RunKills("kill -9, copying across volumes", 20, false, true);
}

TEST(AKilledRun, ThatMovesLeavesEveryItemWholeAndNothingElse) {
  RunKills("kill -9, moving", 10, true, false);
}

TEST(AKilledRun, ThatMovesAcrossVolumesLeavesEveryItemWholeAndNothingElse) {
  RunKills("kill -9, moving across volumes", 30, true, true);
}

}  // namespace
}  // namespace tessary::test
