#include "programs/cli/progress_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/managers/log.h"
#include "tests/support/captured_log.h"
#include "tests/support/pseudo_terminal.h"

namespace tessary::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

// A clock that the test sets.
struct TestClock {
  ProgressLine::Time time;

  std::function<ProgressLine::Time()> Reader() {
    return [this] { return time; };
  }
};

// What a terminal of that width receives while `use` runs with a progress line.
std::string WrittenText(int columns,
                        const std::function<void(ProgressLine* line, TestClock* clock)>& use) {
  PseudoTerminal terminal(columns);
  {
    const TerminalOnStandardError redirected(terminal);
    TestClock clock;
    ProgressLine line(clock.Reader());
    use(&line, &clock);
  }
  return terminal.Finish();
}

TEST(ProgressLine, ShowsCountRateAndText) {
  const std::string written = WrittenText(80, [](ProgressLine* line, TestClock* clock) {
    line->CountItem();
    clock->time += milliseconds(150);
    line->ShowText("Moving: /a/b");
    clock->time += milliseconds(1850);
    line->CountItem();
    clock->time += milliseconds(200);
    for (int i = 0; i < 20; ++i) line->CountItem();
    clock->time += milliseconds(100);
    line->ShowText("Moving: /c");
  });
  EXPECT_THAT(DrawnLines(written),
              ElementsAre("1 item", "1 item  Moving: /a/b", "2 items, 1/s  Moving: /a/b",
                          "3 items, 1/s  Moving: /a/b", "22 items, 9/s  Moving: /c", ""));
}

TEST(ProgressLine, IsDrawnAtMostTenTimesASecond) {
  const std::string written = WrittenText(80, [](ProgressLine* line, TestClock* clock) {
    for (int i = 0; i < 1000; ++i) {
      line->ShowText("Moving: /a/" + std::to_string(i));
      line->CountItem();
      clock->time += milliseconds(1);
    }
  });
  // Ten in one second, and the final erasure.
  EXPECT_THAT(DrawnLines(written), SizeIs(11));
}

TEST(ProgressLine, IsErasedForLogLines) {
  const std::string written = WrittenText(80, [](ProgressLine* line, TestClock* clock) {
    line->ShowText("Moving: /a/quite/long/path/to/something/that/is/longer/than/the/message");
    NSLog("Moved one");
    clock->time += milliseconds(500);
    line->CountItem();
    NSLog("Moved two");
    NSLog("Moved three");
  });
  const std::vector<std::string> lines = ScreenLines(written);
  EXPECT_THAT(lines, ElementsAre(EndsWith("] Moved one"), EndsWith("] Moved two"),
                                 EndsWith("] Moved three"), ""));
  for (const std::string& line : lines) EXPECT_EQ(std::string::npos, line.find("item")) << line;
  // Drawn twice by itself, and three times after a line of the log.
  const std::vector<std::string> drawn = DrawnLines(written);
  EXPECT_EQ(5, std::count_if(drawn.begin(), drawn.end(),
                             [](const std::string& line) { return line.find("item") == 2; }));
}

TEST(ProgressLine, IsTheLastLineOfTheScreen) {
  std::string written = WrittenText(80, [](ProgressLine* line, TestClock*) {
    line->ShowText("Moving: /a");
    NSLog("Moved one");
  });
  // The screen before the final erasure.
  written.resize(written.rfind('\r'));
  EXPECT_THAT(ScreenLines(written), ElementsAre(EndsWith("] Moved one"), "0 items  Moving: /a"));
}

TEST(ProgressLine, IsErasedAtTheEnd) {
  const std::string written = WrittenText(80, [](ProgressLine* line, TestClock*) {
    line->CountItem();
    line->ShowText("Moving: /a");
  });
  EXPECT_THAT(ScreenLines(written), ElementsAre(""));
}

TEST(ProgressLine, StartsEmpty) {
  const std::string written = WrittenText(80, [](ProgressLine*, TestClock*) { NSLog("Hello"); });
  EXPECT_THAT(DrawnLines(written), IsEmpty());
  EXPECT_THAT(ScreenLines(written), ElementsAre(EndsWith("] Hello"), ""));
}

TEST(ProgressLine, FitsOnOneLine) {
  const std::vector<std::string> paths = {
      "/a/very/long/path/that/goes/on/and/on",
      "/new\nline\r\x1b[2Jand\tmore",
      "/caf\xe9/\xff\xfe\x9b\x31m",
      "/日本語の長い名前のフォルダー",
      "/\xf0\x9f\x98\x80\xf0\x9f\x98\x80\xf0\x9f\x98\x80\xf0\x9f\x98\x80\xf0\x9f\x98\x80",
  };
  for (const std::string& path : paths) {
    const std::string written =
        WrittenText(30, [&](ProgressLine* line, TestClock*) { line->ShowText("Moving: " + path); });
    const std::vector<std::string> drawn = DrawnLines(written);
    ASSERT_THAT(drawn, SizeIs(2)) << path;
    EXPECT_EQ(drawn[0], FitToColumns("0 items  Moving: " + path, 29));
    for (const char character : drawn[0]) {
      EXPECT_GE(static_cast<unsigned char>(character), 0x20) << path;
    }
  }
}

TEST(ProgressLine, DrawsNothingInOneColumn) {
  const std::string written =
      WrittenText(1, [](ProgressLine* line, TestClock*) { line->CountItem(); });
  EXPECT_EQ("", written);
}

TEST(ProgressLine, DoesNothingWithoutTerminal) {
  const CapturedLog log;
  {
    ProgressLine line;
    line.CountItem();
    line.ShowText("Moving: /a");
    NSLog("Moved one");
  }
  EXPECT_THAT(log.Lines(), ElementsAre(EndsWith("] Moved one")));
}

TEST(ProgressLine, ReleasesLogHooks) {
  PseudoTerminal terminal(80);
  {
    const TerminalOnStandardError redirected(terminal);
    { ProgressLine().CountItem(); }
    NSLog("Later");
  }
  EXPECT_THAT(DrawnLines(terminal.Finish()), ElementsAre("1 item", EndsWith("] Later")));
}

TEST(FitToColumns, CutsBetweenCharactersAndEscapes) {
  struct Row {
    std::string text;
    int columns;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {"", 10, ""},
      {"abc", 10, "abc"},
      {"abc", 3, "abc"},
      {"abc", 2, "ab"},
      {"abc", 0, ""},
      {"abc", -1, ""},
      {"naïve", 3, "naï"},
      {"naïve", 2, "na"},
      {"日本語", 6, "日本語"},
      {"日本語", 5, "日本"},
      {"日本語", 1, ""},
      {"\xf0\x9f\x98\x80x", 3, "\xf0\x9f\x98\x80x"},
      {"\xf0\x9f\x98\x80x", 2, "\xf0\x9f\x98\x80"},
      {"\xf0\x9f\x98\x80x", 1, ""},
      {"a\nb", 10, "a\\nb"},
      {"a\nb", 3, "a\\n"},
      {"\x1b[2J", 10, "\\x1b[2J"},
      {"\xc2\x9b", 10, "\\x9b"},
      {"\x9b", 10, "\\x9b"},
      {"caf\xe9", 10, "caf\\xe9"},
      {"caf\xe9", 6, "caf"},
      {"\xe6\x97", 10, "\\xe6\\x97"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.expected, FitToColumns(row.text, row.columns))
        << testing::PrintToString(row.text) << " in " << row.columns;
  }
}

}  // namespace
}  // namespace tessary::test
