#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/program.h"
#include "tests/support/pseudo_terminal.h"

// The program with a terminal as standard error.
namespace tessary::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::SizeIs;
using testing::StartsWith;

constexpr int kColumns = 60;

class TerminalOutput : public ProgramTest {
 protected:
  TerminalOutput() {
    MakeFolder(At("destination"));
    for (int i = 0; i < 200; ++i) {
      WriteFile(At("source/a rather long name of \n file " + std::to_string(i) + ".txt"));
    }
    WriteFile(At("source/caf\xe9 \x1b[2J.txt"));
  }

  // What the terminal received during a run, which has to succeed.
  std::string RunOnTerminal(const std::string& option, const std::string& type = "xterm") const {
    PseudoTerminal terminal(kColumns);
    const ProgramResult result = Aggregate(
        {"--verbose", option}, {.environment = {{"TERM", type}}, .errorFile = terminal.fd()});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.output, StartsWith("201 filed, 0 skipped, 0 failed in "));
    EXPECT_THAT(result.output, Not(HasSubstr("\x1b")));
    return terminal.Finish();
  }
};

// Expects that the screen shows complete lines of the log and nothing else.
void ExpectOnlyLogLines(const std::string& written, size_t count) {
  std::vector<std::string> lines = ScreenLines(written);
  ASSERT_THAT(lines, SizeIs(count + 1));
  EXPECT_EQ("", lines.back());
  lines.pop_back();
  for (const std::string& line : lines) {
    EXPECT_THAT(LogMessageOf(line),
                Optional(AnyOf(StartsWith("Aggregating folder "), StartsWith("Moved \""),
                               StartsWith("Moving: /"))));
    EXPECT_THAT(line, Not(HasSubstr("item")));
  }
}

TEST_F(TerminalOutput, ShowsProgressBelowLogLines) {
  const std::string written = RunOnTerminal("--kind=extension");
  ExpectOnlyLogLines(written, 1 + 201);
  const std::vector<std::string> drawn = DrawnLines(written);
  ASSERT_FALSE(drawn.empty());
  EXPECT_THAT(drawn[0], StartsWith("0 items  Moving: /"));
  size_t progressLines = 0;
  for (const std::string& line : drawn) {
    if (line.ends_with("\n") || line.find("tessary-cli[") != std::string::npos) continue;
    EXPECT_LT(line.size(), kColumns) << line;
    if (line.find(" items") != std::string::npos) ++progressLines;
  }
  // Drawn again after each line of the log except the first, before which there is nothing to show.
  EXPECT_GE(progressLines, 201U);
}

TEST_F(TerminalOutput, ShowsCountWithoutProgressText) {
  const std::string written = RunOnTerminal("--kind=file-type");
  const std::vector<std::string> drawn = DrawnLines(written);
  ASSERT_FALSE(drawn.empty());
  EXPECT_EQ("1 item", drawn[0]);
}

TEST_F(TerminalOutput, LogsFailuresOnlyByDefault) {
  WriteFile(At("source/a.pdf"));
  WriteFile(At("destination/pdf"));
  PseudoTerminal terminal(kColumns);
  const ProgramResult result = Aggregate({}, {.errorFile = terminal.fd()});
  EXPECT_EQ(3, result.status);
  const std::string written = terminal.Finish();
  EXPECT_THAT(ScreenLines(written),
              ElementsAre(HasSubstr("] An error occurred: "), HasSubstr("could not be moved to"),
                          StartsWith("tessary-cli: " + At("source/a.pdf")), ""));
  EXPECT_THAT(DrawnLines(written), testing::Contains(HasSubstr(" items")));
}

TEST_F(TerminalOutput, ShowsProgressOnStandardOutput) {
  PseudoTerminal terminal(kColumns);
  const ProgramResult result = Aggregate({}, {.outputFile = terminal.fd()});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.LogMessages(), SizeIs(1 + 201));
  const std::string written = terminal.Finish();
  EXPECT_THAT(ScreenLines(written), ElementsAre(StartsWith("201 filed, 0 skipped, "), ""));
  EXPECT_THAT(DrawnLines(written), testing::Contains(HasSubstr(" items")));
}

TEST_F(TerminalOutput, DumbTerminalGetsNoEscapeSequences) {
  EXPECT_THAT(RunOnTerminal("--kind=extension", "dumb"), Not(HasSubstr("\x1b")));
}

TEST_F(TerminalOutput, ShowsErrorAsOneLine) {
  PseudoTerminal terminal(kColumns);
  const ProgramResult result =
      Run({"aggregate", At("missing"), At("destination")}, {.errorFile = terminal.fd()});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(ScreenLines(terminal.Finish()), ElementsAre(StartsWith("tessary-cli: "), ""));
  EXPECT_THAT(FilesBelow(At("destination")), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
