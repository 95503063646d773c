#include "tests/support/standard_error.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tessary::test {

StandardErrorReplacement::StandardErrorReplacement(int file)
    : saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  EXPECT_GE(dup2(file, STDERR_FILENO), 0);
}

StandardErrorReplacement::~StandardErrorReplacement() {
  EXPECT_GE(dup2(saved_.get(), STDERR_FILENO), 0);
}

}  // namespace tessary::test
