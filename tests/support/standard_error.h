#pragma once

namespace tessary::test {

// Puts another open file in the place of standard error while it lives. The caller keeps `file`.
class StandardErrorReplacement {
 public:
  explicit StandardErrorReplacement(int file);
  ~StandardErrorReplacement();
  StandardErrorReplacement(const StandardErrorReplacement&) = delete;
  StandardErrorReplacement& operator=(const StandardErrorReplacement&) = delete;

 private:
  int saved_;
};

}  // namespace tessary::test
