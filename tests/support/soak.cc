#include "tests/support/soak.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <set>
#include <utility>

namespace tessary::test {
namespace {

using Clock = std::chrono::steady_clock;

// A test ends after so many failures: more would not help to find the cause.
constexpr int kMaxFailures = 20;

// About when the program started.
const Clock::time_point kStart = Clock::now();

// The number in an environment variable, if it is set.
std::optional<uint64_t> NumberFrom(const char* variable) {
  const char* text = std::getenv(variable);
  if (text == nullptr || *text == '\0') return std::nullopt;
  char* end = nullptr;
  const uint64_t number = std::strtoull(text, &end, 10);
  if (*end == '\0') return number;
  ADD_FAILURE() << variable << " is not a number: " << text;
  return std::nullopt;
}

std::chrono::seconds SoakDuration() {
  static const std::chrono::seconds kDuration(NumberFrom("TESSARY_SOAK_SECONDS").value_or(0));
  return kDuration;
}

uint64_t ChooseSeed() {
  const std::optional<uint64_t> seed = NumberFrom("TESSARY_SOAK_SEED");
  return seed ? *seed : std::random_device()();
}

uint64_t Seed() {
  static const uint64_t kSeed = ChooseSeed();
  return kSeed;
}

// Prints how to repeat this run of the program, once. It is printed before the first round, as a
// round may never end.
void PrintSeed() {
  static bool gIsPrinted = false;
  if (std::exchange(gIsPrinted, true)) return;
  std::printf("seed %llu: repeat with TESSARY_SOAK_SEED=%llu\n",
              static_cast<unsigned long long>(Seed()), static_cast<unsigned long long>(Seed()));
  (void)std::fflush(stdout);
}

// FNV-1a.
uint64_t HashOf(std::string_view text) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char character : text) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
  }
  return hash;
}

std::set<std::string>& SoakSuites() {
  static std::set<std::string> gSuites;
  return gSuites;
}

// The name of a parameterised suite is "INSTANCE/SUITE".
bool IsSoakSuite(const std::string& name) {
  return SoakSuites().contains(name.substr(name.rfind('/') + 1));
}

int CountSoakTests() {
  const testing::UnitTest& program = *testing::UnitTest::GetInstance();
  int count = 0;
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *program.GetTestSuite(i);
    if (IsSoakSuite(suite.name())) count += suite.test_to_run_count();
  }
  return count;
}

// When the current test's share of the time ends: the rest of the time, divided equally among the
// soak tests that have not had theirs.
Clock::time_point EndOfShare() {
  static int gShares = 0;
  const int waiting = CountSoakTests() - gShares++;
  const Clock::time_point now = Clock::now();
  const Clock::duration rest = kStart + SoakDuration() - now;
  return now + std::max(rest, Clock::duration(0)) / std::max(waiting, 1);
}

bool MustStop() {
  const testing::TestResult& result =
      *testing::UnitTest::GetInstance()->current_test_info()->result();
  return testing::Test::HasFatalFailure() || testing::Test::IsSkipped() ||
         result.total_part_count() >= kMaxFailures;
}

// The command that repeats one round of the current test.
std::string DescribeRound(uint64_t round) {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  return "repeat with TESSARY_SOAK_SEED=" + std::to_string(Seed()) +
         " TESSARY_SOAK_ROUND=" + std::to_string(round) + " " + program_invocation_name +
         " --gtest_filter=" + test.test_suite_name() + "." + test.name();
}

}  // namespace

// The published generator "splitmix64".
uint64_t SoakRandom::Next() {
  uint64_t mixed = state_ += 0x9E3779B97F4A7C15;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
  return mixed ^ (mixed >> 31);
}

SoakSuite::SoakSuite(std::string name) { SoakSuites().insert(std::move(name)); }

bool IsLongSoak() { return SoakDuration().count() > 0; }

Soak::Soak(std::string_view title, std::string_view tries,
           const std::vector<std::string>& violations)
    : title_(title), triesName_(tries) {
  for (const std::string& name : violations) violations_.push_back({name});
}

Soak::~Soak() {
  std::string line = title_ + ": " + std::to_string(tries_) + " " + triesName_;
  for (const ViolationCount& violation : violations_) {
    line += ", " + std::to_string(violation.count) + " " + violation.name;
  }
  std::printf("%s\n", line.c_str());
  const char* report = std::getenv("TESSARY_SOAK_REPORT");
  if (report == nullptr || *report == '\0') return;
  std::FILE* file = std::fopen(report, "ae");
  const bool isWritten = file != nullptr && std::fprintf(file, "%s\n", line.c_str()) > 0;
  const bool isClosed = file != nullptr && std::fclose(file) == 0;
  EXPECT_TRUE(isWritten && isClosed) << "cannot append to " << report;
}

void Soak::Run(unsigned rounds, const std::function<void(SoakRandom& random)>& round) {
  PrintSeed();
  EXPECT_TRUE(IsSoakSuite(testing::UnitTest::GetInstance()->current_test_suite()->name()))
      << "declare the suite as a SoakSuite";
  const auto runRound = [this, &round](uint64_t number) {
    SCOPED_TRACE(DescribeRound(number));
    SoakRandom random(Seed() ^ SoakRandom(HashOf(title_) + number).Next());
    round(random);
  };
  if (const std::optional<uint64_t> only = NumberFrom("TESSARY_SOAK_ROUND")) {
    runRound(*only);
    return;
  }
  const Clock::time_point end = EndOfShare();
  uint64_t number = 0;
  do {
    runRound(number++);
  } while (!MustStop() && (IsLongSoak() ? Clock::now() < end : number < rounds));
}

void Soak::AddViolation(std::string_view name, const std::string& details) {
  for (ViolationCount& violation : violations_) {
    if (violation.name != name) continue;
    ++violation.count;
    ADD_FAILURE() << title_ << ": " << name << ": " << details;
    return;
  }
  ADD_FAILURE() << title_ << " does not count \"" << name << "\": " << details;
}

void Soak::AddViolations(const std::vector<SoakViolation>& violations, const std::string& context) {
  for (const SoakViolation& each : violations) {
    AddViolation(each.name, each.details + "\n" + context);
  }
}

}  // namespace tessary::test
