#include "tests/support/soak.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace tessary::test {
namespace {

const SoakSuite kSoakSuite("SoakRound");

TEST(SoakRandom, DependsOnSeedOnly) {
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

TEST(SoakRound, SeedIsReproducible) {
  if (IsLongSoak()) GTEST_SKIP() << "the number of rounds depends on the time";
  Soak soak("any", "rounds", {});
  std::vector<uint64_t> first;
  soak.Run(3, [&first](SoakRandom& random) {
    first.push_back(random.Next());
    // Rounds may use any number of random numbers.
    for (size_t i = 0; i < first.size(); ++i) (void)random.Next();
  });
  std::vector<uint64_t> second;
  soak.Run(3, [&second](SoakRandom& random) { second.push_back(random.Next()); });
  EXPECT_EQ(first, second);
  EXPECT_EQ(first.size(), std::set<uint64_t>(first.begin(), first.end()).size());
}

}  // namespace
}  // namespace tessary::test
