#pragma once

#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tessary::test {

// A terminal without a window, which keeps all that is written to it.
class PseudoTerminal {
 public:
  explicit PseudoTerminal(int columns);
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  // What a program has for a terminal.
  int fd() const { return program_; }

  // Ends the terminal and returns everything that was written to it, as it came. Whoever else holds
  // fd() has to have closed it.
  std::string Finish();

 private:
  void ReadAll();

  int program_ = -1;
  int reader_ = -1;
  std::string text_;
  std::thread thread_;
};

// Makes the terminal this process's standard error while it lives.
class TerminalOnStandardError {
 public:
  explicit TerminalOnStandardError(const PseudoTerminal& terminal);
  ~TerminalOnStandardError();
  TerminalOnStandardError(const TerminalOnStandardError&) = delete;
  TerminalOnStandardError& operator=(const TerminalOnStandardError&) = delete;

 private:
  int saved_;
};

// The lines that a user sees after the text was written to a terminal that is wide enough.
std::vector<std::string> ScreenLines(std::string_view text);

// What was drawn over a line that was erased, in turn: the pieces that follow "\r\x1b[K", up to the
// next "\r" or the end.
std::vector<std::string> DrawnLines(std::string_view text);

}  // namespace tessary::test
