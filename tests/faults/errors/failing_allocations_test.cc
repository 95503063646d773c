#include "tests/support/fault_injection/failing_allocations.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/faults/errors/scenario_fixture.h"
#include "tests/support/shared_memory.h"
#include "tests/support/soak.h"

namespace tessary::test {
namespace {

const SoakSuite kAllocationSuite("FailingAllocations");

// Runs the scenario with failing allocations. Returns how many allocations it made or tried.
uint64_t RunWithoutMemory(const ScenarioFixture& fixture, uint64_t first, uint64_t count,
                          SupervisedResult* result) {
  const SharedMemory<uint64_t> allocations;
  *result = fixture.Run(
      {}, nullptr, [first, count] { FailAllocations(first, count); },
      [&allocations] {
        *allocations = CountAllocations();
        FailAllocations(0, 0);
      });
  return *allocations;
}

// A scenario and the number of its allocations.
using AllocationTarget = std::pair<const Scenario*, uint64_t>;

std::vector<AllocationTarget> FindAllocationTargets() {
  std::vector<AllocationTarget> targets;
  for (const Scenario& scenario : Scenarios()) {
    if (!ScenarioFixture::IsSupported(scenario)) continue;
    const ScenarioFixture fixture(scenario);
    SupervisedResult result;
    const uint64_t allocations = RunWithoutMemory(fixture, 0, 0, &result);
    EXPECT_EQ(0, result.exitStatus) << scenario.name << result.output;
    if (result.isSupervised) targets.emplace_back(&scenario, allocations);
  }
  return targets;
}

TEST(FailingAllocations, LoseNothing) {
  const std::vector<AllocationTarget> targets = FindAllocationTargets();
  if (targets.empty()) GTEST_SKIP() << "the kernel does not support seccomp notifications";
  if (HasFailure()) return;
  Soak soak("failed allocations", "runs", ViolationNames());
  soak.Run(150, [&soak, &targets](SoakRandom& random) {
    const auto& [scenario, allocations] = random.Pick(targets);
    const ScenarioFixture fixture(*scenario);
    const uint64_t first = 1 + random.Below(allocations);
    const uint64_t count = random.OneIn(2) ? 1 : 1 + random.Below(100);
    SupervisedResult result;
    if (RunWithoutMemory(fixture, first, count, &result) < first) return;
    soak.AddTries();
    const std::string context = scenario->name + ": " + std::to_string(count) +
                                " failed allocations from number " + std::to_string(first) +
                                " of " + std::to_string(allocations) + "\n" + result.output;
    soak.AddViolations(fixture.FindViolations(result, count == 1), context);
    soak.AddViolations(fixture.FindUnrecovered(), context);
  });
}

}  // namespace
}  // namespace tessary::test
