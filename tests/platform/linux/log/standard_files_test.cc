#include "platform/managers/standard_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace tessary::test {
namespace {

// Returns true if `body` returns true in a child process without the standard files `closed`.
bool HoldsInChild(bool (*body)(const std::vector<int>& closed), const std::vector<int>& closed) {
  const pid_t child = fork();
  if (child == 0) {
    for (const int file : closed) close(file);
    _exit(body(closed) ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

bool ReservesTheirNumbers(const std::vector<int>& closed) {
  PrepareStandardFiles();
  for (const int file : closed) {
    char byte = 'x';
    if (write(file, &byte, 1) != -1 || errno != EBADF) return false;
    if (read(file, &byte, 1) != -1 || errno != EBADF) return false;
  }
  return open("/dev/null", O_WRONLY | O_CLOEXEC) > STDERR_FILENO;
}

bool IgnoresSigpipe(const std::vector<int>& /*closed*/) {
  PrepareStandardFiles();
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  close(ends[0]);
  return write(ends[1], "x", 1) == -1 && errno == EPIPE;
}

bool IgnoresSigxfsz(const std::vector<int>& /*closed*/) {
  PrepareStandardFiles();
  const rlimit limit = {1, 1};
  const int file = memfd_create("limited", MFD_CLOEXEC);
  if (file < 0 || setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
  return write(file, "ab", 2) == 1 && write(file, "c", 1) == -1 && errno == EFBIG;
}

TEST(PrepareStandardFiles, ReservesMissingNumbers) {
  const std::vector<std::vector<int>> rows = {{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}};
  for (const std::vector<int>& closed : rows) {
    EXPECT_TRUE(HoldsInChild(ReservesTheirNumbers, closed)) << testing::PrintToString(closed);
  }
}

TEST(PrepareStandardFiles, KeepsOpenFiles) {
  EXPECT_TRUE(HoldsInChild(
      [](const std::vector<int>&) {
        std::array<int, 2> ends = {};
        if (pipe2(ends.data(), 0) != 0 || dup2(ends[1], STDERR_FILENO) < 0) return false;
        PrepareStandardFiles();
        char byte = 0;
        return write(STDERR_FILENO, "x", 1) == 1 && read(ends[0], &byte, 1) == 1 && byte == 'x';
      },
      {}));
}

TEST(PrepareStandardFiles, IgnoresSigpipe) { EXPECT_TRUE(HoldsInChild(IgnoresSigpipe, {})); }

TEST(PrepareStandardFiles, IgnoresSigxfsz) { EXPECT_TRUE(HoldsInChild(IgnoresSigxfsz, {})); }

}  // namespace
}  // namespace tessary::test
