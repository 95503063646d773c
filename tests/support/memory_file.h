#pragma once

#include <string>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// An anonymous file in memory, for the output of this process or of a child process.
class MemoryFile {
 public:
  MemoryFile();

  int fd() const { return file_.get(); }

  // Everything written so far. Leaves the file offset, which child processes share, as it is.
  std::string Contents() const;

 private:
  UniqueFd file_;
};

}  // namespace tessary::test
