#pragma once

#include <sys/types.h>

#include <chrono>

namespace tessary::test {

// Makes the kernel drop the directory entries and inodes that nobody uses, as it does when memory
// is short. Returns false if this process may not, which only root may.
bool DropCaches();

// A process that calls DropCaches repeatedly, with pauses of this length, until it is
// destroyed. It concerns the whole machine and slows other processes down.
class CacheDropper {
 public:
  explicit CacheDropper(std::chrono::milliseconds pause = std::chrono::milliseconds(20));
  ~CacheDropper();
  CacheDropper(const CacheDropper&) = delete;
  CacheDropper& operator=(const CacheDropper&) = delete;

  // Returns false if this process may not drop the caches.
  bool IsRunning() const { return process_ > 0; }

 private:
  pid_t process_ = -1;
};

}  // namespace tessary::test
