#include "platform/managers/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/linux/log/standard_error.h"

namespace tessary {
namespace {

// The width if the terminal reports none, as a serial line does.
constexpr int kDefaultColumns = 80;

}  // namespace

std::optional<int> GetConsoleColumns() {
  if (isatty(STDERR_FILENO) == 0) return std::nullopt;
  winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefaultColumns;
  return size.ws_col;
}

void WriteToConsole(std::string_view bytes) { WriteToStandardError(bytes); }

}  // namespace tessary
