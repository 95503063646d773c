#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The frame of all soak tests. A soak test repeats a randomised round, counts what it tried and the
// invariants that did not hold, and writes one line of a report:
//
//   const SoakSuite kSuite("KilledRun");
//
//   TEST(KilledRun, Copy) {
//     Soak soak("kill -9, copying", "kills", {"partial", "lost"});
//     soak.Run(20, [&](SoakRandom& random) {
//       ...
//       soak.AddTries();
//       if (...) soak.AddViolation("lost", path);
//     });
//   }
//
// As part of `make check` such a test does a few rounds. tools/soak has it run for long. The
// environment decides, and the fuzzers take the same variables through tools/fuzz:
//   TESSARY_SOAK_SECONDS  how long this program runs; the time is shared among its soak tests
//   TESSARY_SOAK_REPORT   the file to which the lines of the report are appended
//   TESSARY_SOAK_SEED     the seed; without it, each run of the program chooses and prints one
//   TESSARY_SOAK_ROUND    the number of the only round to do, which a failure prints
namespace tessary::test {

// A random number generator that gives the same numbers for the same seed on every machine.
class SoakRandom {
 public:
  explicit SoakRandom(uint64_t seed) : state_(seed) {}

  uint64_t Next();

  // Returns a number below `limit`, which is not 0.
  uint64_t Below(uint64_t limit) { return Next() % limit; }

  // Returns true once in so many times, on average.
  bool OneIn(uint64_t times) { return Below(times) == 0; }

  // Returns one of the choices, of which there is at least one.
  template <typename Choices>
  const auto& Pick(const Choices& choices) {
    return choices[Below(choices.size())];
  }

 private:
  uint64_t state_;
};

// Declares, at namespace scope, that all tests of a suite are soak tests. Only they share the time.
class SoakSuite {
 public:
  explicit SoakSuite(std::string name);
};

// Returns whether the program is to run for TESSARY_SOAK_SECONDS, rather than for a few rounds.
bool IsLongSoak();

// A violation of an invariant: its name in the report, and what a failure says about it.
struct SoakViolation {
  std::string name;
  std::string details;
};

// One soak test. The destructor prints its line, and appends it to the report:
// "TITLE: 312 kills, 0 partial, 0 lost".
class Soak {
 public:
  // `tries` is the word for what is counted, in the plural. `violations` are the names of the
  // invariants' violations.
  Soak(std::string_view title, std::string_view tries, const std::vector<std::string>& violations);
  ~Soak();
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  // Calls `round` for so many rounds, or for this test's share of the time but at least once. Ends
  // early if the test is skipped, has a fatal failure, or has many failures. The random numbers of
  // a round depend only on the seed, the title and the number of the round. Each failure in a round
  // names the command that repeats the round.
  void Run(unsigned rounds, const std::function<void(SoakRandom& random)>& round);

  void AddTries(uint64_t count = 1) { tries_ += count; }

  // Counts a violation of one of the names, and fails the test with `details`.
  void AddViolation(std::string_view name, const std::string& details);

  // The same for each of the violations. `context` is added to the details.
  void AddViolations(const std::vector<SoakViolation>& violations, const std::string& context);

 private:
  struct ViolationCount {
    std::string name;
    uint64_t count = 0;
  };

  std::string title_;
  std::string triesName_;
  uint64_t tries_ = 0;
  std::vector<ViolationCount> violations_;
};

}  // namespace tessary::test
