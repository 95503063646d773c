#pragma once

namespace tessary {

// What the program ends with, for scripts.
enum class ExitStatus : int {
  kSuccess = 0,     // no item failed, or the command did what it was asked for
  kFailure = 1,     // no run took place, or the command failed in whole or part; a line says why
  kUsageError = 2,  // the command line cannot be understood; nothing was done
  kSomeFailed = 3,  // some items could not be filed, or some of the files not be told of
};

}  // namespace tessary
