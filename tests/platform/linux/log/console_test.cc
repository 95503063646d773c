#include "platform/managers/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/environment_variable.h"
#include "tests/support/standard_error.h"

namespace tessary::test {
namespace {

// A pseudo terminal. Bytes written to the terminal are read from its controller.
class PseudoTerminal {
 public:
  PseudoTerminal() : controller_(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_EQ(0, grantpt(controller_.get()));
    EXPECT_EQ(0, unlockpt(controller_.get()));
    terminal_.Reset(open(ptsname(controller_.get()), O_RDWR | O_NOCTTY));
    EXPECT_TRUE(terminal_);
  }

  void SetColumns(unsigned short columns) const {
    const winsize size = {24, columns, 0, 0};
    EXPECT_EQ(0, ioctl(terminal_.get(), TIOCSWINSZ, &size));
  }

  int file() const { return terminal_.get(); }

  std::string Read(size_t size) const {
    std::string text(size, '\0');
    size_t got = 0;
    while (got < size) {
      const ssize_t count = read(controller_.get(), text.data() + got, size - got);
      if (count <= 0) break;
      got += static_cast<size_t>(count);
    }
    text.resize(got);
    return text;
  }

 private:
  UniqueFd controller_;
  UniqueFd terminal_;
};

TEST(GetConsoleColumns, ReturnsWidth) {
  const PseudoTerminal terminal;
  const StandardErrorReplacement replacement(terminal.file());
  terminal.SetColumns(132);
  EXPECT_EQ(132, GetConsoleColumns());
  terminal.SetColumns(40);
  EXPECT_EQ(40, GetConsoleColumns());
}

TEST(GetConsoleColumns, UnknownWidthIsEighty) {
  const PseudoTerminal terminal;
  const StandardErrorReplacement replacement(terminal.file());
  terminal.SetColumns(0);
  EXPECT_EQ(80, GetConsoleColumns());
}

TEST(GetConsoleColumns, NoneOnDumbTerminal) {
  const PseudoTerminal terminal;
  const StandardErrorReplacement replacement(terminal.file());
  const EnvironmentVariable type("TERM", "dumb");
  EXPECT_EQ(std::nullopt, GetConsoleColumns());
}

TEST(GetConsoleColumns, NoneWithoutTerminal) {
  if (isatty(STDOUT_FILENO) != 0) GTEST_SKIP() << "standard output is a terminal";
  const UniqueFd file(open("/dev/null", O_WRONLY | O_CLOEXEC));
  const StandardErrorReplacement replacement(file.get());
  EXPECT_EQ(std::nullopt, GetConsoleColumns());
}

TEST(WriteToConsole, WritesBytesUnchanged) {
  const PseudoTerminal terminal;
  const std::string bytes = "\r\x1b[K12 items caf\xE9";
  {
    const StandardErrorReplacement replacement(terminal.file());
    WriteToConsole(bytes);
  }
  EXPECT_EQ(bytes, terminal.Read(bytes.size()));
}

}  // namespace
}  // namespace tessary::test
