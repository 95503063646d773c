#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What harnesses share that try the same thing over and over with chance in it: how long to go on,
// where the chance comes from so that it can be repeated, and what to tell of it.
//
// Without a word from outside, a harness does the few rounds that it asks for. The environment says
// otherwise, which is how tools/soak runs it:
//   TESSARY_SOAK_SECONDS  go on for so long, shared out among the tests of the program
//   TESSARY_SOAK_REPORT   append a line to this file for every count
//   TESSARY_SOAK_SEED     begin with this seed, which every run prints, instead of one of its own
//   TESSARY_SOAK_ROUND    do this round alone, whose number a failure names
namespace tessary::test {

// Numbers that follow from their seed alone, on every machine.
class SoakRandom {
 public:
  explicit SoakRandom(uint64_t seed) : state_(seed) {}

  uint64_t Next();

  // A number below `limit`, which is not 0.
  uint64_t Below(uint64_t limit) { return Next() % limit; }

  // True once in so many times.
  bool OneIn(uint64_t times) { return Below(times) == 0; }

  // One of the choices, of which there is at least one.
  template <typename Choices>
  const auto& Pick(const Choices& choices) {
    return choices[Below(choices.size())];
  }

 private:
  uint64_t state_;
};

// The number of seconds that this program is to go on, or 0 for a few rounds only.
unsigned SoakSeconds();

// The seed of this program's run. Prints it the first time, with how to repeat the run.
uint64_t SoakSeed();

// The rounds of one test:
//
//   for (SoakRounds rounds("kill copy files", 12); rounds.Next();) { ... rounds.random() ... }
class SoakRounds {
 public:
  // `few` rounds, or as many as the time that is this test's share allows, but at least one. Every
  // test that has rounds is taken to have them once.
  SoakRounds(std::string_view title, unsigned few);

  // Begins the next round; false when it is enough, or when the test has failed for good.
  bool Next();

  // The chance of this round, which follows from the seed, the title and the number of the round.
  SoakRandom& random() { return random_; }

  // For a message: how to repeat this round alone.
  std::string Describe() const;

 private:
  std::string title_;
  uint64_t round_ = 0;
  uint64_t end_ = 0;      // the number of the round that is not done any more, where it is known
  int64_t deadline_ = 0;  // in nanoseconds of the steady clock, or 0
  bool isBegun_ = false;
  SoakRandom random_ = SoakRandom(0);
};

// One line of the report, which is written when this goes: "TITLE: 312 tries, 0 partial, 0 lost".
// After the tries come counts of what must never happen, so that any of them that is not 0 is a
// violation; each fails the test too.
class SoakCount {
 public:
  // `tries` is the word for one try in the plural; `violations` name what must not happen.
  SoakCount(std::string_view title, std::string_view tries,
            const std::vector<std::string>& violations);
  ~SoakCount();
  SoakCount(const SoakCount&) = delete;
  SoakCount& operator=(const SoakCount&) = delete;

  void AddTries(uint64_t count = 1) { tries_ += count; }

  // Counts a violation of one of the names given, and fails the test with `details`.
  void AddViolation(std::string_view name, const std::string& details);

  // The number of all violations.
  uint64_t violations() const;

 private:
  struct Violation {
    std::string name;
    uint64_t count = 0;
  };

  std::string title_;
  std::string triesName_;
  uint64_t tries_ = 0;
  std::vector<Violation> violations_;
};

}  // namespace tessary::test
