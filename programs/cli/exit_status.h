#pragma once

namespace tessary {

// The exit status of the programs, for scripts.
enum class ExitStatus : int {
  kSuccess = 0,     // no item failed, or the command succeeded
  kFailure = 1,     // no run took place, or the command failed in whole or in part
  kUsageError = 2,  // nothing was done
  kSomeFailed = 3,  // some items could not be filed, or some files could not be read
};

}  // namespace tessary
