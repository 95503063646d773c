#pragma once

#include <string>

namespace tessary {

// A path to the open object, if only opened as a path, for calls that take no descriptor or not
// this kind. Good while the descriptor is open and where /proc is mounted.
inline std::string ProcFdPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace tessary
