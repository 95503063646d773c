#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/programs/aggregate_fixture.h"

// Runs that the user interrupts.
namespace tessary::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr int kItems = 500;

class Interruption : public AggregateTest {
 protected:
  Interruption() {
    for (int i = 0; i < kItems; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"));
    EXPECT_EQ(0, pipe2(ends_.data(), O_CLOEXEC));
    // Less than the log of the run: the program waits for the reader before its end.
    EXPECT_GT(fcntl(ends_[1], F_SETPIPE_SZ, 4096), 0);
  }

  ~Interruption() override { close(ends_[0]); }

  // Runs the program and sends it the signal after its first log line.
  ProgramResult RunAndSend(int signal, const std::vector<std::string>& options = {"--move"}) {
    std::string errors;
    std::thread reader([&] {
      std::array<char, 1024> bytes;
      for (bool isSent = false;;) {
        const ssize_t count = read(ends_[0], bytes.data(), bytes.size());
        if (count <= 0) return;
        errors.append(bytes.data(), static_cast<size_t>(count));
        const size_t number = errors.find('[');
        if (isSent || number == std::string::npos || errors.find(']') == std::string::npos)
          continue;
        isSent = true;
        EXPECT_EQ(0, kill(std::atoi(errors.c_str() + number + 1), signal));
      }
    });
    ProgramResult result = Aggregate(options, {.errorFile = ends_[1]});
    close(ends_[1]);
    reader.join();
    result.errors = errors;
    return result;
  }

  std::array<int, 2> ends_ = {};
};

TEST_F(Interruption, FinishesItemAndEndsBySignal) {
  const ProgramResult result = RunAndSend(SIGINT);
  EXPECT_EQ(128 + SIGINT, result.status);
  EXPECT_THAT(result.errors, EndsWith("tessary-cli: interrupted\n"));
  const size_t filed = FilesBelow(At("destination")).size();
  EXPECT_EQ(static_cast<size_t>(kItems), filed + NamesIn(At("source")).size());
  EXPECT_LT(filed, static_cast<size_t>(kItems));
  EXPECT_THAT(result.output,
              MatchesRegex(std::to_string(filed) + " filed, 0 skipped, 0 failed in .* s\n"));
}

TEST_F(Interruption, CompletesJson) {
  const ProgramResult result = RunAndSend(SIGINT, {"--move", "--json"});
  EXPECT_EQ(128 + SIGINT, result.status);
  const auto lines = static_cast<size_t>(std::ranges::count(result.output, '\n'));
  EXPECT_EQ(FilesBelow(At("destination")).size(), lines);
  EXPECT_LT(lines, static_cast<size_t>(kItems));
  EXPECT_THAT(result.output, EndsWith("\"operation\":\"move\"}\n"));
}

TEST_F(Interruption, AlsoByTerm) {
  const ProgramResult result = RunAndSend(SIGTERM);
  EXPECT_EQ(128 + SIGTERM, result.status);
  EXPECT_THAT(result.output, HasSubstr(" filed, 0 skipped, 0 failed in "));
}

TEST_F(Interruption, KeepsIgnoredSignalIgnored) {
  const auto previous = std::signal(SIGINT, SIG_IGN);
  const ProgramResult result = RunAndSend(SIGINT);
  (void)std::signal(SIGINT, previous);
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(NamesIn(At("source")), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
