#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/changes/copy_ahead.h"
#include "platform/linux/errors.h"
#include "tests/faults/errors/scenario_fixture.h"
#include "tests/support/fault_injection/system_call_names.h"
#include "tests/support/shared_memory.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Runs with injected errors of system calls.
namespace tessary::test {
namespace {

const SoakSuite kErrorSuite("InjectedErrors");

constexpr std::array kErrors = {ENOSPC, EIO, EDQUOT, EACCES, EINTR, EMFILE, ESTALE, EXDEV, ENOMEM};

// A call that a scenario makes, and how often it makes it.
struct Target {
  const Scenario* scenario = nullptr;
  int number = 0;
  int count = 0;
};

// The error injected in one round.
struct PlannedError {
  Target target;
  int error = 0;
  int occurrence = 0;       // of the call, from 1
  bool isRepeated = false;  // at all later calls, too
};

std::string Describe(const PlannedError& planned) {
  return planned.target.scenario->name + ": " + NameOfError(planned.error) + " from " +
         NameOfCall(planned.target.number) + " number " + std::to_string(planned.occurrence) +
         " of " + std::to_string(planned.target.count) +
         (planned.isRepeated ? " and all later ones" : "");
}

// Runs the scenario without errors and adds the calls that it makes.
void AddTargets(const Scenario& scenario, std::vector<Target>* targets) {
  std::map<int, int> counts;
  const ScenarioFixture fixture(scenario);
  const SupervisedResult result = fixture.Run(FileCalls(), [&counts](const SupervisedCall& call) {
    ++counts[call.number];
    return 0;
  });
  if (!result.isSupervised) return;
  EXPECT_EQ(0, result.exitStatus) << scenario.name << "\n" << result.output;
  for (const SoakViolation& violation : fixture.FindViolations(result, true)) {
    ADD_FAILURE() << scenario.name << " without errors: " << violation.name << " "
                  << violation.details;
  }
#ifdef TESSARY_SANITIZE
  // The sanitizers use write(2) to probe memory. The program writes files by other calls.
  counts.erase(SYS_write);
#endif
  for (const auto& [number, count] : counts) targets->push_back({&scenario, number, count});
}

std::vector<Target> FindTargets() {
  std::vector<Target> targets;
  for (const Scenario& scenario : Scenarios()) {
    if (ScenarioFixture::IsSupported(scenario)) {
      AddTargets(scenario, &targets);
    } else {
      std::printf("skipped, there is only one filesystem: %s\n", scenario.name.c_str());
    }
  }
  return targets;
}

// In half of the rounds, all kinds of calls are equally likely; in the others, all calls are.
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

PlannedError PickError(const std::vector<Target>& targets, SoakRandom* random) {
  PlannedError planned;
  planned.target = PickTarget(targets, random);
  planned.error = random->Pick(kErrors);
  planned.occurrence =
      1 + static_cast<int>(random->Below(static_cast<uint64_t>(planned.target.count)));
  // The program rightly repeats an interrupted call for as long as it is interrupted.
  planned.isRepeated = planned.error != EINTR && random->OneIn(4);
  return planned;
}

// The statuses that the log reports.
std::vector<int> LoggedStatuses(const std::string& output) {
  constexpr std::string_view kBefore = "An error occurred: ";
  std::vector<int> statuses;
  for (size_t at = output.find(kBefore); at != std::string::npos;
       at = output.find(kBefore, at + 1)) {
    statuses.push_back(std::atoi(output.c_str() + at + kBefore.size()));
  }
  return statuses;
}

// Returns whether the log may report the status after the error. That is the status of the errno
// value, except for errors with another effect:
// - getrandom(2): without random numbers there are no temporary and no distinct names.
// - statx(2): an object without a stat counts as another object or as changed, and a name as
//   existing.
// - F_GETLEASE: if the lease cannot be queried, a writer counts as waiting for it, and an original
//   that may have been written to is not deleted. Other errors of leases are never reported.
bool IsExpectedStatus(int status, const PlannedError& planned, bool isLeaseQuery) {
  if (status == StatusFromErrno(planned.error)) return true;
  if (isLeaseQuery) return status == fBsyErr;
  if (planned.target.number == SYS_getrandom) return status == ioErr || status == dupFNErr;
  if (planned.target.number == SYS_statx) {
    return status == fnfErr || status == dupFNErr || status == fBsyErr;
  }
  return false;
}

bool IsLeaseQuery(const SupervisedCall& call) {
  return call.number == SYS_fcntl && static_cast<int>(call.arguments[1]) == F_GETLEASE;
}

// Runs the scenario with the error. Returns false if it did not make the call.
bool RunScenario(const PlannedError& planned, std::vector<SoakViolation>* violations,
                 std::string* output) {
  const ScenarioFixture fixture(*planned.target.scenario);
  int count = 0;
  bool isLeaseQuery = false;
  const SupervisedResult result =
      fixture.Run({planned.target.number}, [&](const SupervisedCall& call) {
        ++count;
        const bool fails =
            count == planned.occurrence || (planned.isRepeated && count > planned.occurrence);
        if (!fails) return 0;
        isLeaseQuery = IsLeaseQuery(call);
        return planned.error;
      });
  *output = result.output;
  if (count < planned.occurrence) return false;
  *violations = fixture.FindViolations(result, !planned.isRepeated);
  for (const int status : LoggedStatuses(result.output)) {
    // With repeated errors, any of their consequences may be the one reported.
    if (!planned.isRepeated && !IsExpectedStatus(status, planned, isLeaseQuery)) {
      violations->push_back({"wrong error", "the log reports " + std::to_string(status)});
    }
  }
  const std::vector<SoakViolation> unrecovered = fixture.FindUnrecovered();
  violations->insert(violations->end(), unrecovered.begin(), unrecovered.end());
  return true;
}

// Counts how often each call has failed with each error, and prints that at the end.
class ErrorCounts {
 public:
  void Add(const PlannedError& planned) { ++counts_[planned.target.number][planned.error]; }

  ~ErrorCounts() {
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

// The errors meet runs that prepare copies, as users have them.
TEST(InjectedErrors, MeetPreparedCopies) {
  if (!HasSecondProcessor()) GTEST_SKIP() << "there is only one processor";
  const SharedMemory<uint64_t> prepared;
  // Whether the second thread has its turn during a short run depends on the load of the machine.
  constexpr int kMaxRuns = 50;
  for (int i = 0; i < kMaxRuns && *prepared == 0; ++i) {
    const ScenarioFixture fixture(Scenarios().front());
    const SupervisedResult result = fixture.Run(
        FileCalls(), [](const SupervisedCall&) { return 0; }, [] {},
        [&prepared] { *prepared = CountPreparedCopies().prepared; });
    if (!result.isSupervised) GTEST_SKIP() << "the kernel does not support seccomp notifications";
    ASSERT_EQ(0, result.exitStatus) << result.output;
  }
  EXPECT_LT(0U, *prepared);
}

TEST(InjectedErrors, LoseNothing) {
  const std::vector<Target> targets = FindTargets();
  if (targets.empty()) GTEST_SKIP() << "the kernel does not support seccomp notifications";
  if (HasFailure()) return;
  Soak soak("injected errors", "runs", ViolationNames());
  ErrorCounts counts;
  soak.Run(300, [&](SoakRandom& random) {
    const PlannedError planned = PickError(targets, &random);
    std::vector<SoakViolation> violations;
    std::string output;
    if (!RunScenario(planned, &violations, &output)) return;
    counts.Add(planned);
    soak.AddTries();
    soak.AddViolations(violations, Describe(planned) + "\n" + output);
  });
}

// Every error at every call, which takes some minutes.
TEST(InjectedErrors, DISABLED_LoseNothingAtAnyCall) {
  for (const Target& target : FindTargets()) {
    for (int occurrence = 1; occurrence <= target.count; ++occurrence) {
      for (const int error : kErrors) {
        for (const bool isRepeated : {false, true}) {
          if (isRepeated && error == EINTR) continue;
          const PlannedError planned = {target, error, occurrence, isRepeated};
          std::vector<SoakViolation> violations;
          std::string output;
          if (!RunScenario(planned, &violations, &output)) continue;
          for (const SoakViolation& violation : violations) {
            ADD_FAILURE() << Describe(planned) << "\n"
                          << violation.name << " " << violation.details << "\n"
                          << output;
          }
        }
      }
    }
  }
}

// Some filesystems report only at close(2) that data could not be written.
TEST(CloseError, KeepsOriginals) {
  const ScratchVolume volume(VolumeKind::kBindfs);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const TemporaryFolder scratch;
  WriteFile(scratch / "source/a.txt", "a");
  WriteFile(scratch / "source/Thing.app/Contents/b", "b");
  MakeFolder(volume / "destination");
  for (const std::string operation : {"--copy", "--move"}) {
    const SupervisedResult result = RunWithFaults(
        {"aggregate", "--kind", "extension", operation, scratch / "source", volume / "destination"},
        scratch / "config", {SYS_close}, [](const SupervisedCall&) { return ENOSPC; });
    EXPECT_EQ(3, result.exitStatus) << result.output;
    EXPECT_EQ(std::vector<int>({dskFulErr, dskFulErr}), LoggedStatuses(result.output));
    EXPECT_TRUE(FilesBelow(volume / "destination").empty());
    EXPECT_EQ(2U, FilesBelow(scratch / "source").size());
  }
}

}  // namespace
}  // namespace tessary::test
