#include "tests/support/captured_log.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <sstream>

namespace tessary::test {

CapturedLog::CapturedLog()
    : savedStandardError_(dup(STDERR_FILENO)), file_(memfd_create("log", MFD_CLOEXEC)) {
  EXPECT_GE(dup2(file_, STDERR_FILENO), 0);
}

CapturedLog::~CapturedLog() {
  EXPECT_GE(dup2(savedStandardError_, STDERR_FILENO), 0);
  close(savedStandardError_);
  close(file_);
}

std::vector<std::string> CapturedLog::Lines() const {
  std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
  EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(file_, text.data(), text.size(), 0));
  lseek(file_, 0, SEEK_END);
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> CapturedLog::Messages() const {
  std::vector<std::string> messages;
  for (const std::string& line : Lines()) {
    const size_t end = line.find("] ");
    messages.push_back(end == std::string::npos ? line : line.substr(end + 2));
  }
  return messages;
}

}  // namespace tessary::test
