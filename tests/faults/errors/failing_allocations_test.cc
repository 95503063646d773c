#include "tests/support/fault_injection/failing_allocations.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <string>
#include <vector>

#include "tests/faults/errors/scenario.h"
#include "tests/support/soak.h"

namespace tessary::test {
namespace {

// A number that a child process writes for its parent.
class SharedNumber {
 public:
  SharedNumber()
      : number_(static_cast<uint64_t*>(mmap(nullptr, sizeof(uint64_t), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  ~SharedNumber() { munmap(number_, sizeof(uint64_t)); }
  SharedNumber(const SharedNumber&) = delete;
  SharedNumber& operator=(const SharedNumber&) = delete;

  uint64_t& operator*() const { return *number_; }

 private:
  uint64_t* number_;
};

// Plays the scenario with allocations failing; answers how many there were.
uint64_t RunScenario(const ScenarioFixture& fixture, uint64_t first, uint64_t count,
                     SupervisedResult* result) {
  const SharedNumber allocations;
  *result = fixture.RunWithHooks([first, count] { FailAllocations(first, count); },
                                 [&allocations] {
                                   *allocations = CountAllocations();
                                   FailAllocations(0, 0);
                                 });
  return *allocations;
}

TEST(FailingAllocations, LosesNothing) {
  std::vector<std::pair<const Scenario*, uint64_t>> counts;
  for (const Scenario& scenario : Scenarios()) {
    if (!ScenarioFixture::IsSupported(scenario)) continue;
    const ScenarioFixture fixture(scenario);
    SupervisedResult result;
    counts.emplace_back(&scenario, RunScenario(fixture, 0, 0, &result));
    EXPECT_EQ(0, result.exitStatus) << scenario.name << result.output;
  }
  if (counts.empty()) GTEST_SKIP() << "there is no /dev/shm";
  if (HasFailure()) return;
  SoakCount count("memory that is refused", "refusals", ViolationKinds());
  for (SoakRounds rounds("memory that is refused", 150); rounds.Next();) {
    const auto& [scenario, most] = rounds.random().Pick(counts);
    const ScenarioFixture fixture(*scenario);
    const uint64_t first = 1 + rounds.random().Below(most);
    const uint64_t length = rounds.random().OneIn(2) ? 1 : 1 + rounds.random().Below(100);
    SupervisedResult result;
    if (RunScenario(fixture, first, length, &result) < first) continue;
    count.AddTries();
    std::vector<Violation> violations = fixture.FindViolations(result, length == 1);
    for (Violation& violation : fixture.FindLastingViolations())
      violations.push_back(std::move(violation));
    for (const Violation& violation : violations) {
      count.AddViolation(violation.kind, scenario->name + ": " + std::to_string(length) +
                                             " allocations from number " + std::to_string(first) +
                                             " of " + std::to_string(most) + "\n" +
                                             violation.details + "\n" + result.output + "\n" +
                                             rounds.Describe());
    }
  }
}

}  // namespace
}  // namespace tessary::test
