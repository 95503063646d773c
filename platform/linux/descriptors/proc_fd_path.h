#pragma once

#include <string>

namespace tessary {

// Returns a path to the open object, for system calls that take no descriptor or none that was
// opened with O_PATH. Valid while the descriptor is open, and only if /proc is mounted.
inline std::string ProcFdPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace tessary
