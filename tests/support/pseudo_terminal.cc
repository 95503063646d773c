#include "tests/support/pseudo_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace tessary::test {
namespace {

constexpr std::string_view kEraseLine = "\r\x1b[K";
constexpr std::string_view kEraseRest = "\x1b[K";

}  // namespace

PseudoTerminal::PseudoTerminal(int columns) : reader_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  std::array<char, 64> name = {};
  EXPECT_EQ(0, grantpt(reader_));
  EXPECT_EQ(0, unlockpt(reader_));
  EXPECT_EQ(0, ptsname_r(reader_, name.data(), name.size()));
  program_ = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_GE(program_, 0);
  winsize size = {};
  size.ws_row = 24;
  size.ws_col = static_cast<unsigned short>(columns);
  EXPECT_EQ(0, ioctl(program_, TIOCSWINSZ, &size));
  thread_ = std::thread([this] { ReadAll(); });
}

PseudoTerminal::~PseudoTerminal() {
  if (thread_.joinable()) (void)Finish();
}

std::string PseudoTerminal::Finish() {
  close(program_);
  thread_.join();
  close(reader_);
  return text_;
}

// read(2) fails when no program has the terminal open any more.
void PseudoTerminal::ReadAll() {
  std::array<char, 4096> block = {};
  for (;;) {
    const ssize_t count = read(reader_, block.data(), block.size());
    if (count <= 0) return;
    text_.append(block.data(), static_cast<size_t>(count));
  }
}

std::vector<std::string> ScreenLines(std::string_view text) {
  std::vector<std::string> lines(1);
  size_t column = 0;
  while (!text.empty()) {
    std::string& line = lines.back();
    if (text.starts_with(kEraseRest)) {
      line.resize(column);
      text.remove_prefix(kEraseRest.size());
      continue;
    }
    const char character = text[0];
    text.remove_prefix(1);
    if (character == '\n') {
      lines.emplace_back();
    } else if (character == '\r') {
      column = 0;
    } else {
      if (line.size() <= column) line.resize(column + 1, ' ');
      line[column++] = character;
    }
  }
  return lines;
}

std::vector<std::string> DrawnLines(std::string_view text) {
  std::vector<std::string> drawn;
  for (size_t start = text.find(kEraseLine); start != std::string_view::npos;
       start = text.find(kEraseLine, start)) {
    start += kEraseLine.size();
    drawn.emplace_back(text.substr(start, text.find('\r', start) - start));
  }
  return drawn;
}

}  // namespace tessary::test
