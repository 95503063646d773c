#include <string>
#include <vector>

#include "tests/gui/desktop.h"

// The arguments of the desktop program, with and without a running instance or a display.
namespace tessary::test {
namespace {

class CommandLine : public DesktopTest {
 protected:
  struct Row {
    std::vector<std::string> arguments;
    int status;
    std::string output;  // a part of it
  };

  // The rows that start no run.
  std::vector<Row> Rows() const {
    return {{{"--help"}, 0, "Usage:\n  tessary "},
            {{"--version"}, 0, "tessary "},
            {{"--unknown"}, 2, "--unknown: unknown option"},
            {{"--unknown", At("nowhere")}, 2, "--unknown: unknown option"},
            {{At("nowhere")}, 1, At("nowhere") + ": No such file or directory"},
            {{"--aggregate", At("nowhere")}, 1, "there is no such folder"}};
  }

  void CheckRows() {
    for (const Row& row : Rows()) {
      EXPECT_EQ(row.status, StartSecondInstance(row.arguments)) << row.arguments[0];
      EXPECT_NE(std::string::npos, ReadFile(At("second-log")).find(row.output))
          << row.arguments[0] << ": " << ReadFile(At("second-log"));
    }
  }
};

TEST_F(CommandLine, WithoutDisplay) {
  environment_.remove("DISPLAY");
  CheckRows();
}

TEST_F(CommandLine, WithRunningInstance) {
  StartProgram();
  CheckRows();
  EXPECT_FALSE(IsPanelOpen());
  EXPECT_EQ(1, StartSecondInstance({MakeSource("letters"), At("nowhere")}));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
}

}  // namespace
}  // namespace tessary::test
