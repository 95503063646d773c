#include "tests/support/soak.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace tessary::test {
namespace {

// After so many failures a test gives up: the first ones tell what is wrong.
constexpr int kMaxFailures = 20;

int64_t Now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// When the program began, more or less.
const int64_t kStart = Now();

uint64_t NumberFrom(const char* variable, uint64_t otherwise) {
  const char* text = std::getenv(variable);
  if (text == nullptr || *text == '\0') return otherwise;
  char* end = nullptr;
  const uint64_t number = std::strtoull(text, &end, 10);
  if (*end == '\0') return number;
  ADD_FAILURE() << variable << " is no number: " << text;
  return otherwise;
}

uint64_t HashOf(std::string_view text) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char character : text) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
  }
  return hash;
}

uint64_t MakeSeed() {
  const uint64_t seed = NumberFrom("TESSARY_SOAK_SEED", std::random_device()());
  std::printf("seed %llu: repeat with TESSARY_SOAK_SEED=%llu\n",
              static_cast<unsigned long long>(seed), static_cast<unsigned long long>(seed));
  (void)std::fflush(stdout);
  return seed;
}

// The end of a fair part of the time that the program has left.
int64_t EndOfShare() {
  static int gBegun = 0;  // tests that have had their share
  const int waiting = testing::UnitTest::GetInstance()->test_to_run_count() - gBegun++;
  const int64_t end = kStart + int64_t{SoakSeconds()} * 1'000'000'000;
  return Now() + std::max<int64_t>(end - Now(), 1) / std::max(waiting, 1);
}

int CountFailuresOfTest() {
  const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
  return test == nullptr ? 0 : test->result()->total_part_count();
}

}  // namespace

// The published generator "splitmix64".
uint64_t SoakRandom::Next() {
  uint64_t mixed = state_ += 0x9E3779B97F4A7C15;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
  return mixed ^ (mixed >> 31);
}

unsigned SoakSeconds() {
  static const uint64_t gSeconds = NumberFrom("TESSARY_SOAK_SECONDS", 0);
  return static_cast<unsigned>(gSeconds);
}

uint64_t SoakSeed() {
  static const uint64_t gSeed = MakeSeed();
  return gSeed;
}

SoakRounds::SoakRounds(std::string_view title, unsigned few) : title_(title), end_(few) {
  // Printed before the first round, as the last one may never end.
  (void)SoakSeed();
  constexpr uint64_t kAll = UINT64_MAX;
  const uint64_t only = NumberFrom("TESSARY_SOAK_ROUND", kAll);
  if (only != kAll) {
    round_ = only;
    end_ = only + 1;
  } else if (SoakSeconds() > 0) {
    end_ = kAll;
    deadline_ = EndOfShare();
  }
}

bool SoakRounds::Next() {
  if (isBegun_) {
    ++round_;
    if (deadline_ != 0 && Now() >= deadline_) return false;
  }
  isBegun_ = true;
  if (round_ >= end_ || testing::Test::HasFatalFailure()) return false;
  if (CountFailuresOfTest() >= kMaxFailures) return false;
  random_ = SoakRandom(SoakSeed() ^ SoakRandom(HashOf(title_) + round_).Next());
  return true;
}

std::string SoakRounds::Describe() const {
  return title_ + ": TESSARY_SOAK_SEED=" + std::to_string(SoakSeed()) +
         " TESSARY_SOAK_ROUND=" + std::to_string(round_);
}

SoakCount::SoakCount(std::string_view title, std::string_view tries,
                     const std::vector<std::string>& violations)
    : title_(title), triesName_(tries) {
  for (const std::string& name : violations) violations_.push_back({name});
}

SoakCount::~SoakCount() {
  std::string line = title_ + ": " + std::to_string(tries_) + " " + triesName_;
  for (const Violation& violation : violations_) {
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

void SoakCount::AddViolation(std::string_view name, const std::string& details) {
  for (Violation& violation : violations_) {
    if (violation.name != name) continue;
    ++violation.count;
    ADD_FAILURE() << title_ << ": " << name << ": " << details;
    return;
  }
  ADD_FAILURE() << title_ << " does not count \"" << name << "\": " << details;
}

uint64_t SoakCount::violations() const {
  uint64_t sum = 0;
  for (const Violation& violation : violations_) sum += violation.count;
  return sum;
}

}  // namespace tessary::test
