#include "tests/support/captured_log.h"

#include <sstream>

namespace tessary::test {

std::vector<std::string> CapturedLog::Lines() const {
  std::vector<std::string> lines;
  std::istringstream stream(file_.Contents());
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
