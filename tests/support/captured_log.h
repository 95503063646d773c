#pragma once

#include <string>
#include <vector>

namespace tessary::test {

// Takes what this process writes to standard error while it lives, the log among it.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  // The messages so far, without the time and the program's name before them.
  std::vector<std::string> Messages() const;

  // The lines so far, as they stand.
  std::vector<std::string> Lines() const;

 private:
  int savedStandardError_;
  int file_;
};

}  // namespace tessary::test
