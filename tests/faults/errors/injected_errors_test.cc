#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/errors.h"
#include "tests/faults/errors/scene.h"
#include "tests/support/soak.h"
#include "tests/support/supervised_calls.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary {
namespace {

using testing::FileCalls;
using testing::Harm;
using testing::HarmKinds;
using testing::NameOfCall;
using testing::NameOfError;
using testing::RunResult;
using testing::Scene;
using testing::Scenes;
using testing::SoakCount;
using testing::SoakRandom;
using testing::SoakRounds;
using testing::Stage;
using testing::SupervisedCall;

constexpr std::array kErrors = {ENOSPC, EIO, EDQUOT, EACCES, EINTR, EMFILE, ESTALE, EXDEV, ENOMEM};

// A call that a scene makes, and how often.
struct Target {
  const Scene* scene = nullptr;
  int number = 0;
  int count = 0;
};

// What is refused in one round.
struct Refusal {
  Target target;
  int error = 0;
  int which = 0;          // of the calls, from 1
  bool persists = false;  // that one and all after it
};

std::string Describe(const Refusal& refusal) {
  return refusal.target.scene->name + ": " + NameOfError(refusal.error) + " from " +
         NameOfCall(refusal.target.number) + " number " + std::to_string(refusal.which) + " of " +
         std::to_string(refusal.target.count) + (refusal.persists ? " and all after it" : "");
}

// Plays the scene with nothing refused and notes its calls.
void AddTargets(const Scene& scene, std::vector<Target>* targets) {
  std::map<int, int> counts;
  const Stage stage(scene);
  const RunResult result = stage.Run(FileCalls(), [&counts](const SupervisedCall& call) {
    ++counts[call.number];
    return 0;
  });
  EXPECT_EQ(0, result.end.exitStatus) << scene.name << "\n" << result.output;
  for (const Harm& harm : stage.FindHarm(result, true)) {
    ADD_FAILURE() << scene.name << " by itself: " << harm.kind << " " << harm.details;
  }
#ifdef TESSARY_SANITIZE
  // By which the sanitizers find out about memory; files are written by another call.
  counts.erase(SYS_write);
#endif
  for (const auto& [number, count] : counts) targets->push_back({&scene, number, count});
}

std::vector<Target> FindTargets() {
  std::vector<Target> targets;
  for (const Scene& scene : Scenes()) {
    if (Stage::IsPossible(scene)) {
      AddTargets(scene, &targets);
    } else {
      std::printf("not played for want of a second volume: %s\n", scene.name.c_str());
    }
  }
  return targets;
}

// Every call as often as another in one half of the rounds, in the other as often as it is made.
Target PickTarget(const std::vector<Target>& targets, SoakRandom* random) {
  if (random->OneIn(2)) return random->Pick(targets);
  uint64_t all = 0;
  for (const Target& target : targets) all += static_cast<uint64_t>(target.count);
  uint64_t at = random->Below(all);
  for (const Target& target : targets) {
    if (at < static_cast<uint64_t>(target.count)) return target;
    at -= static_cast<uint64_t>(target.count);
  }
  return targets.back();
}

Refusal PickRefusal(const std::vector<Target>& targets, SoakRandom* random) {
  Refusal refusal;
  refusal.target = PickTarget(targets, random);
  refusal.error = random->Pick(kErrors);
  refusal.which = 1 + static_cast<int>(random->Below(static_cast<uint64_t>(refusal.target.count)));
  // A signal interrupts one call; who is interrupted for ever rightly tries for ever.
  refusal.persists = refusal.error != EINTR && random->OneIn(4);
  return refusal;
}

// The numbers of the errors that the log tells of.
std::vector<int> LoggedStatuses(const std::string& output) {
  constexpr std::string_view kBefore = "An error occurred: ";
  std::vector<int> statuses;
  for (size_t at = output.find(kBefore); at != std::string::npos;
       at = output.find(kBefore, at + 1)) {
    statuses.push_back(std::atoi(output.c_str() + at + kBefore.size()));
  }
  return statuses;
}

// Whether the log may give that number: the one of the error, but for questions whose failure is
// answered as something else. Without randomness there is no hidden name, and no distinct one
// either where a name is taken. An object that cannot be looked at is taken for another one, or for
// one that has changed, and a name for taken. Where it cannot be asked whether a writer waits for
// the lease on a file, one is taken to: an original that somebody may have written to is not
// deleted. All other questions about a lease have to fail without a word.
bool IsRightStatus(int status, const Refusal& refusal, bool isOfWaitingWriter) {
  if (status == StatusFromErrno(refusal.error)) return true;
  if (isOfWaitingWriter) return status == fBsyErr;
  if (refusal.target.number == SYS_getrandom) return status == ioErr || status == dupFNErr;
  if (refusal.target.number == SYS_statx) {
    return status == fnfErr || status == dupFNErr || status == fBsyErr;
  }
  return false;
}

bool IsOfWaitingWriter(const SupervisedCall& call) {
  return call.number == SYS_fcntl && static_cast<int>(call.arguments[1]) == F_GETLEASE;
}

// Plays the scene with the refusal; false where the call did not come.
bool Play(const Refusal& refusal, std::vector<Harm>* harms, std::string* output) {
  const Stage stage(*refusal.target.scene);
  int count = 0;
  bool isOfWaitingWriter = false;
  const RunResult result = stage.Run({refusal.target.number}, [&](const SupervisedCall& call) {
    ++count;
    const bool isMeant = count == refusal.which || (refusal.persists && count > refusal.which);
    if (!isMeant) return 0;
    isOfWaitingWriter = IsOfWaitingWriter(call);
    return refusal.error;
  });
  *output = result.output;
  if (count < refusal.which) return false;
  *harms = stage.FindHarm(result, !refusal.persists);
  for (const int status : LoggedStatuses(result.output)) {
    // Of what fails again and again, any failure may be the one that is told of.
    if (!refusal.persists && !IsRightStatus(status, refusal, isOfWaitingWriter)) {
      harms->push_back({"misnamed", "the log tells of error " + std::to_string(status)});
    }
  }
  for (Harm& harm : stage.FindLastingHarm()) harms->push_back(std::move(harm));
  return true;
}

// How often each call was made to fail with each error.
class Coverage {
 public:
  void Add(const Refusal& refusal) { ++counts_[refusal.target.number][refusal.error]; }

  ~Coverage() {
    for (const auto& [number, errors] : counts_) {
      std::printf("%-16s", NameOfCall(number).c_str());
      for (const auto& [error, count] : errors) {
        std::printf(" %s %d", NameOfError(error).c_str(), count);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<int, std::map<int, int>> counts_;
};

TEST(InjectedErrors, LoseNothingAndAreToldOf) {
  const std::vector<Target> targets = FindTargets();
  if (targets.empty()) GTEST_SKIP() << "there is no /dev/shm, or calls cannot be supervised here";
  if (HasFailure()) return;
  SoakCount count("errors of system calls", "refusals", HarmKinds());
  Coverage coverage;
  for (SoakRounds rounds("errors of system calls", 300); rounds.Next();) {
    const Refusal refusal = PickRefusal(targets, &rounds.random());
    std::vector<Harm> harms;
    std::string output;
    if (!Play(refusal, &harms, &output)) continue;
    coverage.Add(refusal);
    count.AddTries();
    for (const Harm& harm : harms) {
      count.AddViolation(harm.kind, Describe(refusal) + "\n" + harm.details + "\n" + output + "\n" +
                                        rounds.Describe());
    }
  }
}

TEST(InjectedErrors, OfClosingAreHeardWhereTheyTellOfTheContents) {
  const testing::ScratchVolume volume(testing::VolumeKind::kBindfs);
  if (!volume.IsThere()) GTEST_SKIP() << volume.WhyNot();
  const testing::TemporaryFolder ground;
  testing::WriteFile(ground / "source/a.txt", "a");
  testing::WriteFile(ground / "source/Thing.app/Contents/b", "b");
  testing::MakeFolder(volume / "there");
  for (const std::string operation : {"--copy", "--move"}) {
    const std::vector<std::string> arguments = {"aggregate", "--kind",          "extension",
                                                operation,   ground / "source", volume / "there"};
    const RunResult result = testing::RunHampered(arguments, ground / "config", {SYS_close},
                                                  [](const SupervisedCall&) { return ENOSPC; });
    EXPECT_EQ(3, result.end.exitStatus) << result.output;
    EXPECT_EQ(std::vector<int>({dskFulErr, dskFulErr}), LoggedStatuses(result.output));
    EXPECT_TRUE(testing::FilesBelow(volume / "there").empty());
    EXPECT_EQ(2U, testing::FilesBelow(ground / "source").size());
  }
}

// Every single one of them, which takes some minutes.
TEST(InjectedErrors, DISABLED_EachOneByOne) {
  for (const Target& target : FindTargets()) {
    for (int which = 1; which <= target.count; ++which) {
      for (const int error : kErrors) {
        for (const bool persists : {false, true}) {
          if (persists && error == EINTR) continue;
          const Refusal refusal = {target, error, which, persists};
          std::vector<Harm> harms;
          std::string output;
          if (!Play(refusal, &harms, &output)) continue;
          for (const Harm& harm : harms) {
            ADD_FAILURE() << Describe(refusal) << "\n"
                          << harm.kind << " " << harm.details << "\n"
                          << output;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace tessary
