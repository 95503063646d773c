#include "tests/support/memory_file.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessary::test {

MemoryFile::MemoryFile() : file_(memfd_create("test output", MFD_CLOEXEC)) { EXPECT_TRUE(file_); }

std::string MemoryFile::Contents() const {
  struct stat info = {};
  EXPECT_EQ(0, fstat(fd(), &info));
  std::string contents(static_cast<size_t>(info.st_size), '\0');
  EXPECT_EQ(info.st_size, pread(fd(), contents.data(), contents.size(), 0));
  return contents;
}

}  // namespace tessary::test
