#pragma once

#include <string>
#include <vector>

#include "tests/support/memory_file.h"
#include "tests/support/standard_error.h"

namespace tessary::test {

// Captures what this process writes to standard error, including the log, until it is destroyed.
class CapturedLog {
 public:
  // The messages so far, without the time and the program's name.
  std::vector<std::string> Messages() const;

  // The lines so far, unchanged.
  std::vector<std::string> Lines() const;

 private:
  MemoryFile file_;
  StandardErrorReplacement replacement_{file_.fd()};
};

}  // namespace tessary::test
