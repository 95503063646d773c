#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <new>
#include <type_traits>

namespace tessary::test {

// An object in memory that this process shares with the child processes that it forks afterwards.
template <typename T>
class SharedMemory {
  static_assert(std::is_trivially_destructible_v<T>);

 public:
  SharedMemory() {
    void* memory =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(MAP_FAILED, memory);
    object_ = new (memory) T();
  }
  ~SharedMemory() { munmap(object_, sizeof(T)); }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  T& operator*() const { return *object_; }

 private:
  T* object_;
};

}  // namespace tessary::test
