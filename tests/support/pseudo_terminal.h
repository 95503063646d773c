#pragma once

#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/standard_error.h"

namespace tessary::test {

// A terminal that keeps everything written to it.
class PseudoTerminal {
 public:
  explicit PseudoTerminal(int columns);
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  // The program's end.
  int fd() const { return program_; }

  // Closes the terminal and returns everything written to it. All duplicates of fd() must be closed
  // already.
  std::string Finish();

 private:
  void ReadAll();

  int program_ = -1;
  int reader_ = -1;
  std::string text_;
  std::thread thread_;
};

// Makes the terminal the standard error of this process until it is destroyed.
class TerminalOnStandardError : public StandardErrorReplacement {
 public:
  explicit TerminalOnStandardError(const PseudoTerminal& terminal)
      : StandardErrorReplacement(terminal.fd()) {}
};

// The lines on the screen after the text was written to a terminal that is wide enough.
std::vector<std::string> ScreenLines(std::string_view text);

// The successive contents of a line that is redrawn: the texts between "\r\x1b[K" and the next "\r"
// or the end.
std::vector<std::string> DrawnLines(std::string_view text);

}  // namespace tessary::test
