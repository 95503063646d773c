#include <gtest/gtest.h>
#include <sys/mman.h>

#include <string>
#include <vector>

#include "tests/faults/errors/scene.h"
#include "tests/support/refused_memory.h"
#include "tests/support/soak.h"

namespace tessary {
namespace {

using testing::Harm;
using testing::HarmKinds;
using testing::RunResult;
using testing::Scene;
using testing::Scenes;
using testing::SoakCount;
using testing::SoakRounds;
using testing::Stage;
using testing::SupervisedCall;

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

// Plays the scene with allocations failing; answers how many there were.
uint64_t Play(const Stage& stage, uint64_t first, uint64_t count, RunResult* result) {
  const SharedNumber allocations;
  *result = stage.RunAround([first, count] { testing::RefuseAllocations(first, count); },
                            [&allocations] {
                              *allocations = testing::CountAllocations();
                              testing::RefuseAllocations(0, 0);
                            });
  return *allocations;
}

TEST(FailingMemory, LosesNothing) {
  std::vector<std::pair<const Scene*, uint64_t>> counts;
  for (const Scene& scene : Scenes()) {
    if (!Stage::IsPossible(scene)) continue;
    const Stage stage(scene);
    RunResult result;
    counts.emplace_back(&scene, Play(stage, 0, 0, &result));
    EXPECT_EQ(0, result.end.exitStatus) << scene.name << result.output;
  }
  if (counts.empty()) GTEST_SKIP() << "there is no /dev/shm";
  if (HasFailure()) return;
  SoakCount count("memory that is refused", "refusals", HarmKinds());
  for (SoakRounds rounds("memory that is refused", 150); rounds.Next();) {
    const auto& [scene, most] = rounds.random().Pick(counts);
    const Stage stage(*scene);
    const uint64_t first = 1 + rounds.random().Below(most);
    const uint64_t length = rounds.random().OneIn(2) ? 1 : 1 + rounds.random().Below(100);
    RunResult result;
    if (Play(stage, first, length, &result) < first) continue;
    count.AddTries();
    std::vector<Harm> harms = stage.FindHarm(result, length == 1);
    for (Harm& harm : stage.FindLastingHarm()) harms.push_back(std::move(harm));
    for (const Harm& harm : harms) {
      count.AddViolation(harm.kind, scene->name + ": " + std::to_string(length) +
                                        " allocations from number " + std::to_string(first) +
                                        " of " + std::to_string(most) + "\n" + harm.details + "\n" +
                                        result.output + "\n" + rounds.Describe());
    }
  }
}

}  // namespace
}  // namespace tessary
