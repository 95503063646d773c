#include "platform/managers/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/linux/log/standard_error.h"

namespace tessary {
namespace {

// The width if the terminal reports none, as a serial line does.
constexpr int kDefaultColumns = 80;

// The descriptor of the console, or none.
std::optional<int> ConsoleFile() {
  for (const int file : {STDERR_FILENO, STDOUT_FILENO}) {
    if (isatty(file) != 0) return file;
  }
  return std::nullopt;
}

bool IsDumbTerminal() {
  const char* type = std::getenv("TERM");
  return type != nullptr && std::string_view(type) == "dumb";
}

}  // namespace

std::optional<int> GetConsoleColumns() {
  const std::optional<int> file = ConsoleFile();
  if (!file || IsDumbTerminal()) return std::nullopt;
  winsize size = {};
  if (ioctl(*file, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefaultColumns;
  return size.ws_col;
}

bool IsOutputOnTerminal() { return isatty(STDOUT_FILENO) != 0; }

void WriteToConsole(std::string_view bytes) {
  if (const std::optional<int> file = ConsoleFile()) WriteToTerminal(*file, bytes);
}

}  // namespace tessary
