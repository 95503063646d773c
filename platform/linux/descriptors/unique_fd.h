#pragma once

#include <unistd.h>

#include <utility>

namespace tessary {

// Owns one file descriptor and closes it. Errors of close(2) are ignored: a caller that has to know
// about deferred write errors checks for them before.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int get() const { return fd_; }
  int Release() { return std::exchange(fd_, -1); }
  explicit operator bool() const { return fd_ >= 0; }

  void Reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace tessary
