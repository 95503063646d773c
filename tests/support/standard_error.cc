#include "tests/support/standard_error.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tessary::test {

StandardErrorReplacement::StandardErrorReplacement(int file) : saved_(dup(STDERR_FILENO)) {
  EXPECT_GE(dup2(file, STDERR_FILENO), 0);
}

StandardErrorReplacement::~StandardErrorReplacement() {
  EXPECT_GE(dup2(saved_, STDERR_FILENO), 0);
  close(saved_);
}

}  // namespace tessary::test
