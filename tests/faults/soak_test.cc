#include "tests/support/soak.h"

#include <gtest/gtest.h>

#include <set>

namespace tessary::test {
namespace {

TEST(SoakRandom, GivesTheSameNumbersForTheSameSeed) {
  SoakRandom first(7);
  SoakRandom second(7);
  std::set<uint64_t> numbers;
  for (int i = 0; i < 1000; ++i) {
    const uint64_t number = first.Next();
    EXPECT_EQ(number, second.Next());
    numbers.insert(number);
  }
  EXPECT_EQ(1000U, numbers.size());
}

TEST(SoakRounds, GiveEachRoundChanceOfItsOwnThatDependsOnNothingButItsNumber) {
  std::set<uint64_t> numbers;
  for (int run = 0; run < 2; ++run) {
    for (SoakRounds rounds("any", 3); rounds.Next();) {
      const uint64_t number = rounds.random().Next();
      // Rounds may use up any amount of theirs.
      for (int i = 0; i < run; ++i) (void)rounds.random().Next();
      EXPECT_EQ(run == 0, numbers.insert(number).second) << rounds.Describe();
    }
    if (SoakSeconds() > 0) return;
  }
}

}  // namespace
}  // namespace tessary::test
