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

#include "tests/faults/cargo.h"
#include "tests/faults/child.h"
#include "tests/faults/two_volumes.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Runs that are killed wherever they happen to be, and the next run over what they left.
namespace tessary {
namespace {

namespace fs = std::filesystem;
using testing::Cargo;
using testing::Child;
using testing::ChildSetup;
using testing::KillAtCall;
using testing::MakeFolder;
using testing::NamesIn;
using testing::SoakCount;
using testing::SoakRandom;
using testing::SoakRounds;
using testing::Survey;
using testing::TemporaryFolder;
using testing::TwoVolumes;

constexpr unsigned kHang = 60;  // seconds

// What volumes can be without.
struct Volume {
  const char* name;
  std::vector<testing::RefusedCall> refusedCalls;
  bool hasLinks = true;
  bool hasFlag = true;  // without it, a name is taken first, by an empty folder or by a link
};

const testing::RefusedCall kNoUnnamedFiles = {SYS_openat, EOPNOTSUPP, 2, O_TMPFILE & ~O_DIRECTORY};
const testing::RefusedCall kNoFlag = {SYS_renameat2, EINVAL, 4, RENAME_NOREPLACE};
const testing::RefusedCall kNoLinks = {SYS_linkat, EPERM};

const std::vector<Volume>& Volumes() {
  static const std::vector<Volume> kVolumes = {
      {"with everything", {}},
      {"without unnamed files", {kNoUnnamedFiles}},
      {"without the flag", {kNoFlag, kNoUnnamedFiles}, true, false},
      {"without the flag and links", {kNoFlag, kNoUnnamedFiles, kNoLinks}, false, false},
  };
  return kVolumes;
}

// One killed run: what there was before it, and what it was told.
class KilledRun {
 public:
  KilledRun(const std::string& source, const std::string& destination, bool isMove,
            SoakRandom& random)
      : source_(source + "/source"),
        destination_(destination + "/destination"),
        isMove_(isMove),
        volume_(random.OneIn(2) ? &Volumes()[0] : &random.Pick(Volumes())),
        isByDate_(random.OneIn(3)),
        cargo_(volume_->hasLinks) {
    MakeFolder(source_);
    MakeFolder(destination_);
    cargo_.Fill(source_, 1 + random.Below(24), random.OneIn(2), random);
    movers_ = cargo_.size();
    PutResidents(random);
    isReplacing_ = random.OneIn(4);
    setup_.refusedCalls = volume_->refusedCalls;
    setup_.environment = {{"XDG_CONFIG_HOME", source + "/config"},
                          {"XDG_DATA_HOME", source + "/data"},
                          {"XDG_DATA_DIRS", source + "/data"},
                          {"TZ", "UTC"},
                          {"LC_ALL", "C"}};
    arguments_ = {"aggregate", "--recurse",
                  isByDate_ ? "--kind=modification-date" : "--kind=extension",
                  isMove_ ? "--move" : "--copy"};
    if (isReplacing_) arguments_.push_back("--replace");
    arguments_.push_back(source_);
    arguments_.push_back(destination_);
  }

  // Kills it at any system call or at any time. False where it had ended before that.
  bool Kill(SoakRandom& random) {
    return random.OneIn(2) ? KillAtAnyCall(random) : KillAtAnyTime(random);
  }

  void CheckAfterKill(SoakCount* count) const {
    CheckItems(cargo_.Look({source_, destination_}), count);
  }

  // Everything is filed by a run that nobody kills, and nothing hidden is left anywhere.
  void RunAgain(SoakCount* count) const {
    Child child(arguments_, setup_);
    if (!child.Wait(kHang)) count->AddViolation("hung", Explain("the next run"));
    if (child.status() != 0) {
      count->AddViolation("lost", Explain("the next run failed: " + child.Errors()));
    }
    const Survey survey = cargo_.Look({source_, destination_});
    for (const std::string& path : survey.leftovers)
      count->AddViolation("left over", Explain(path));
    CheckItems(survey, count);
    for (size_t item = 0; item < movers_; ++item) {
      const std::vector<std::string> places = survey.PlacesOf(item);
      const bool hasArrived = std::ranges::any_of(
          places, [this](const std::string& path) { return path.starts_with(destination_); });
      // A link to nothing has no date.
      const bool isKeyless = isByDate_ && fs::is_symlink(cargo_.PathOf(item));
      if (!hasArrived && !isKeyless) {
        count->AddViolation("lost", Explain("not filed: " + cargo_.PathOf(item)));
      }
    }
  }

 private:
  // Items that lie in the way.
  void PutResidents(SoakRandom& random) {
    for (size_t item = 0; item < movers_; ++item) {
      const std::string name = fs::path(cargo_.PathOf(item)).filename();
      const std::string path = destination_ + "/" + name.substr(name.rfind('.') + 1) + "/" + name;
      if (random.OneIn(6)) cargo_.PutFile(path, random);
    }
  }

  bool KillAtAnyCall(SoakRandom& random) {
    // About what the start and one item come to.
    const uint64_t most = 300 + movers_ * 100;
    const uint64_t call = 150 + random.Below(most);
    how_ = "at call " + std::to_string(call);
    const uint64_t seen = KillAtCall(arguments_, setup_, call);
    EXPECT_GT(seen, 0U) << "this process may not trace";
    return seen == call;
  }

  bool KillAtAnyTime(SoakRandom& random) {
    const auto delay = std::chrono::microseconds(1'000 + random.Below(4'000 + movers_ * 400));
    how_ = "after " + std::to_string(delay.count()) + " us";
    Child child(arguments_, setup_);
    std::this_thread::sleep_for(delay);
    const bool hasEnded = child.HasEnded();
    child.Kill();
    return !hasEnded;
  }

  void CheckItems(const Survey& survey, SoakCount* count) const {
    for (const std::string& path : survey.strangers) {
      if (!IsPlaceholder(path)) count->AddViolation("partial", Explain(path));
    }
    for (size_t item = 0; item < cargo_.size(); ++item) {
      const std::vector<std::string> places = survey.PlacesOf(item);
      const std::string& path = cargo_.PathOf(item);
      if (item >= movers_ && isReplacing_) continue;
      const bool stays = item < movers_ && !isMove_;
      const bool isThere = std::ranges::find(places, path) != places.end();
      // What lies in the way may be sorted too, by the date, but goes nowhere else.
      if (places.empty() || (stays && !isThere)) count->AddViolation("lost", Explain(path));
    }
  }

  // The empty folder, or where there are no links either, file that holds a name until the whole
  // one is there: on volumes without the flag a kill between the two leaves it.
  bool IsPlaceholder(const std::string& path) const {
    const bool mayBe = !volume_->hasLinks || (!volume_->hasFlag && fs::is_directory(path));
    return mayBe && path.starts_with(destination_) && fs::is_empty(path);
  }

  std::string Explain(const std::string& what) const {
    std::string text = what + ": killed " + how_ + ", " + volume_->name + ", ";
    for (const std::string& argument : arguments_) text += " " + argument;
    return text;
  }

  std::string source_;
  std::string destination_;
  bool isMove_;
  const Volume* volume_;
  bool isByDate_;
  bool isReplacing_ = false;
  Cargo cargo_;
  size_t movers_ = 0;
  ChildSetup setup_;
  std::vector<std::string> arguments_;
  std::string how_;
};

void TryOften(const std::string& title, unsigned few, bool isMove, bool isAcross) {
  SoakCount count(title, "kills", {"partial", "lost", "left over", "hung"});
  const TwoVolumes volumes;
  if (isAcross && !volumes.AreTwo()) GTEST_SKIP() << "there are no two volumes to be had here";
  for (SoakRounds rounds(title, few); rounds.Next();) {
    SCOPED_TRACE(rounds.Describe());
    const std::string& other = rounds.random().OneIn(8) ? volumes.OnDisk() : volumes.second();
    const TemporaryFolder first(volumes.first());
    const TemporaryFolder second(isAcross ? other : volumes.first());
    const bool isReverse = rounds.random().OneIn(3);
    KilledRun run((isReverse ? second : first).path(), (isReverse ? first : second).path(), isMove,
                  rounds.random());
    if (run.Kill(rounds.random())) count.AddTries();
    run.CheckAfterKill(&count);
    run.RunAgain(&count);
  }
}

TEST(AKilledRun, ThatCopiesLeavesEveryItemWholeAndNothingElse) {
  TryOften("kill -9, copying", 20, false, false);
}

TEST(AKilledRun, ThatCopiesAcrossVolumesLeavesEveryItemWholeAndNothingElse) {
  TryOften("kill -9, copying across volumes", 20, false, true);
}

TEST(AKilledRun, ThatMovesLeavesEveryItemWholeAndNothingElse) {
  TryOften("kill -9, moving", 10, true, false);
}

TEST(AKilledRun, ThatMovesAcrossVolumesLeavesEveryItemWholeAndNothingElse) {
  TryOften("kill -9, moving across volumes", 30, true, true);
}

}  // namespace
}  // namespace tessary
