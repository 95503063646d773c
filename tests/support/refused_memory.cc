#include "tests/support/refused_memory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// How many allocations of this thread succeed before one fails; none fails while it is negative.
thread_local int gLeft = -1;

// True for the one that is to fail.
bool IsRefused() {
  if (gLeft < 0) return false;
  return gLeft-- == 0;
}

}  // namespace

void* operator new(std::size_t size) {
  if (IsRefused()) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace tessary::testing {

Status CallWithoutMemory(int allocation, const std::function<Status()>& body, bool* wasRefused) {
  gLeft = allocation;
  const Status status = body();
  *wasRefused = gLeft < 0;
  gLeft = -1;
  return status;
}

void ExpectMemFullWithoutMemory(const std::function<Status()>& body,
                                const std::function<void()>& look) {
  constexpr int kMostAllocations = 100'000;
  for (int allocations = 0; allocations < kMostAllocations; ++allocations) {
    bool wasRefused = false;
    const Status status = CallWithoutMemory(allocations, body, &wasRefused);
    if (!wasRefused) {
      EXPECT_EQ(noErr, status) << "with all its memory";
      EXPECT_LT(0, allocations) << "no memory was asked for";
      return;
    }
    ASSERT_EQ(memFullErr, status) << "without allocation " << allocations;
    look();
    if (::testing::Test::HasFailure()) return;
  }
  ADD_FAILURE() << "it asks for memory without end";
}

}  // namespace tessary::testing
