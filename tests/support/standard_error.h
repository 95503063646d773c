#pragma once

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// Replaces standard error with another open file until it is destroyed. The caller keeps `file`.
class StandardErrorReplacement {
 public:
  explicit StandardErrorReplacement(int file);
  ~StandardErrorReplacement();
  StandardErrorReplacement(const StandardErrorReplacement&) = delete;
  StandardErrorReplacement& operator=(const StandardErrorReplacement&) = delete;

 private:
  UniqueFd saved_;
};

}  // namespace tessary::test
