#include "platform/managers/log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_variable.h"
#include "tests/support/standard_error.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

std::string ExpectedIdentity() {
  return std::string(program_invocation_short_name) + "[" + std::to_string(getpid()) + "] ";
}

// Returns the seconds of the clock that the log uses. time() may be behind that clock.
time_t ClockSeconds() {
  timespec now = {};
  EXPECT_EQ(0, clock_gettime(CLOCK_REALTIME, &now));
  return now.tv_sec;
}

void WaitForNextSecond() {
  const time_t second = ClockSeconds();
  const timespec pause = {0, 10'000'000};
  while (ClockSeconds() == second) nanosleep(&pause, nullptr);
}

// Parses the local time at the start of a line.
time_t TimeOfLine(const std::string& line) {
  std::tm local = {};
  EXPECT_NE(nullptr, strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &local)) << line;
  local.tm_isdst = -1;
  return mktime(&local);
}

TEST(EscapeControlCharacters, EscapesControlCharacters) {
  const std::vector<std::array<std::string, 2>> rows = {
      {"\n", "\\n"},
      {"\t", "\\t"},
      {"\r", "\\r"},
      {"\x1b[2J", "\\x1b[2J"},
      {std::string("\0", 1), "\\x00"},
      {"\x1f", "\\x1f"},
      {"\x7f", "\\x7f"},
      {"\xC2\x80", "\\x80"},
      {"\xC2\x9Bx", "\\x9bx"},
      {"\x9Bx", "\\x9bx"},  // a single byte, not UTF-8
      {"\xC3\x9B\x9B", "\xC3\x9B\\x9b"},
      {"a\nb\nc", "a\\nb\\nc"},
      {"\u2028\u2029", "\\u2028\\u2029"},
      {"\u202A\u202B\u202C\u202D\u202Efdp.exe", "\\u202a\\u202b\\u202c\\u202d\\u202efdp.exe"},
      {"\u2066\u2067\u2068\u2069", "\\u2066\\u2067\\u2068\\u2069"},
  };
  for (const auto& [message, expected] : rows) {
    EXPECT_EQ(expected, EscapeControlCharacters(message));
  }
}

TEST(EscapeControlCharacters, KeepsOtherBytes) {
  for (const std::string& message :
       {std::string(), std::string(" plain ~ text \\n \"quoted\""), std::string("caf\xC3\xA9"),
        std::string("caf\xE9"), std::string("\xC2\xA0"), std::string("\xF0\x9F\x93\x81"),
        std::string("\xC2"), std::string("\xFF"), std::string("\u2027\u202F\u2065\u206A")}) {
    EXPECT_EQ(message, EscapeControlCharacters(message));
  }
}

TEST(NSLog, WritesTimeProgramAndMessage) {
  const CapturedLog log;
  NSLog("filed caf\xE9\nfake");
  ASSERT_EQ(1U, log.Lines().size());
  const std::string line = log.Lines()[0];
  EXPECT_THAT(line, testing::MatchesRegex(
                        "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} .*"));
  EXPECT_EQ(ExpectedIdentity() + "filed caf\xE9\\nfake", line.substr(24));
}

TEST(LogSuccess, CanBeTurnedOff) {
  const CapturedLog log;
  LogSuccess("first");
  SetSuccessLogging(false);
  LogSuccess("second");
  NSLog("third");
  SetSuccessLogging(true);
  LogSuccess("fourth");
  EXPECT_THAT(log.Lines(),
              testing::ElementsAre(testing::EndsWith("first"), testing::EndsWith("third"),
                                   testing::EndsWith("fourth")));
}

// The first line may reuse a timestamp that was formatted in another time zone; later lines may
// not.
TEST(NSLog, WritesLocalTime) {
  const TimeZone zone("Asia/Kolkata");
  const CapturedLog log;
  NSLog("any");
  for (const char* message : {"first", "second"}) {
    WaitForNextSecond();
    const time_t before = ClockSeconds();
    NSLog(message);
    const time_t after = ClockSeconds();
    const std::string line = log.Lines().back();
    EXPECT_LE(before, TimeOfLine(line)) << line;
    EXPECT_GE(after, TimeOfLine(line)) << line;
  }
}

TEST(NSLog, WritesProcessIDOfFork) {
  const CapturedLog log;
  NSLog("parent");
  const pid_t child = fork();
  if (child == 0) {
    NSLog("child");
    _exit(0);
  }
  ASSERT_EQ(child, waitpid(child, nullptr, 0));
  const std::vector<std::string> lines = log.Lines();
  ASSERT_EQ(2U, lines.size());
  EXPECT_THAT(lines[0], EndsWith("[" + std::to_string(getpid()) + "] parent"));
  EXPECT_THAT(lines[1], EndsWith("[" + std::to_string(child) + "] child"));
}

TEST(NSLog, WritesLineByOneCall) {
  std::array<int, 2> ends = {-1, -1};
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()));
  const UniqueFd reader(ends[0]);
  const UniqueFd writer(ends[1]);
  {
    const StandardErrorReplacement replacement(writer.get());
    NSLog("one");
    NSLog(std::string(5000, 'x'));
  }
  std::string packet(10000, '\0');
  const ssize_t first = recv(reader.get(), packet.data(), packet.size(), MSG_DONTWAIT);
  ASSERT_GT(first, 0);
  EXPECT_THAT(packet.substr(0, static_cast<size_t>(first)), EndsWith("] one\n"));
  const ssize_t second = recv(reader.get(), packet.data(), packet.size(), MSG_DONTWAIT);
  ASSERT_GT(second, 0);
  EXPECT_THAT(packet.substr(0, static_cast<size_t>(second)),
              EndsWith("] " + std::string(5000, 'x') + "\n"));
}

// A pipe whose reader reads small blocks and interrupts the writer by a signal after each.
class SlowReader {
 public:
  explicit SlowReader(int pipeFlags) {
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
    reader_.Reset(ends[0]);
    writer_.Reset(ends[1]);
    EXPECT_EQ(0, fcntl(writer_.get(), F_SETFL, pipeFlags));
    struct sigaction action = {};
    action.sa_handler = [](int /*signal*/) {};
    // Without SA_RESTART, so that interrupted calls fail with EINTR or write only a part.
    EXPECT_EQ(0, sigaction(SIGUSR1, &action, &savedAction_));
  }
  ~SlowReader() { EXPECT_EQ(0, sigaction(SIGUSR1, &savedAction_, nullptr)); }
  SlowReader(const SlowReader&) = delete;
  SlowReader& operator=(const SlowReader&) = delete;

  std::string ReadWhileLogging(const std::string& message) {
    std::string text;
    const pthread_t logger = pthread_self();
    std::thread thread([&] { ReadToEnd(logger, &text); });
    {
      const StandardErrorReplacement replacement(writer_.get());
      NSLog(message);
    }
    writer_.Reset();
    thread.join();
    return text;
  }

 private:
  void ReadToEnd(pthread_t logger, std::string* text) const {
    std::array<char, 1024> block = {};
    while (true) {
      const ssize_t count = read(reader_.get(), block.data(), block.size());
      if (count <= 0) return;
      text->append(block.data(), static_cast<size_t>(count));
      EXPECT_EQ(0, pthread_kill(logger, SIGUSR1));
    }
  }

  UniqueFd reader_;
  UniqueFd writer_;
  struct sigaction savedAction_ = {};
};

TEST(NSLog, SurvivesInterruptedWrites) {
  const std::string message(1 << 20, 'x');
  SlowReader reader(0);
  EXPECT_TRUE(reader.ReadWhileLogging(message).ends_with("] " + message + "\n"));
}

TEST(NSLog, WaitsForNonBlockingFile) {
  const std::string message(1 << 20, 'x');
  SlowReader reader(O_NONBLOCK);
  EXPECT_TRUE(reader.ReadWhileLogging(message).ends_with("] " + message + "\n"));
}

TEST(NSLog, IgnoresWriteErrors) {
  const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  const UniqueFd readOnly(open("/dev/null", O_RDONLY | O_CLOEXEC));
  for (const int file : {full.get(), readOnly.get()}) {
    const StandardErrorReplacement replacement(file);
    NSLog("lost");
  }
  const CapturedLog log;
  NSLog("kept");
  EXPECT_THAT(log.Messages(), ElementsAre("kept"));
}

TEST(NSLog, CallsHooksAroundEachLine) {
  const CapturedLog log;
  std::vector<std::string> calls;
  const auto record = [&](const char* name) {
    calls.push_back(name + std::to_string(log.Lines().size()));
  };
  SetLogLineHooks({[&] { record("before "); }, [&] { record("after "); }});
  NSLog("one");
  NSLog("two");
  SetLogLineHooks({});
  NSLog("three");
  EXPECT_THAT(calls, ElementsAre("before 0", "after 1", "before 1", "after 2"));
  EXPECT_THAT(log.Messages(), ElementsAre("one", "two", "three"));
}

}  // namespace
}  // namespace tessary::test
