#include "tests/support/fault_injection/failing_allocations.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local uint64_t gAllocations = 0;
thread_local uint64_t gFirst = 0;
thread_local uint64_t gCount = 0;

// True for one that is to fail.
bool ShouldFail() {
  const uint64_t at = ++gAllocations;
  return at >= gFirst && at - gFirst < gCount;
}

}  // namespace

void* operator new(std::size_t size) {
  if (ShouldFail()) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

// With sanitizers the library's own does not call the one above.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return ShouldFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace tessary::test {

void FailAllocations(uint64_t first, uint64_t count) {
  gAllocations = 0;
  gFirst = first;
  gCount = count;
}

uint64_t CountAllocations() { return gAllocations; }

Status CallWithFailedAllocation(int allocation, const std::function<Status()>& body,
                                bool* hasFailed) {
  const auto first = static_cast<uint64_t>(allocation) + 1;
  FailAllocations(first, 1);
  const Status status = body();
  *hasFailed = CountAllocations() >= first;
  FailAllocations(0, 0);
  return status;
}

void ExpectMemFullOnFailedAllocations(const std::function<Status()>& body,
                                      const std::function<void()>& look) {
  constexpr int kMostAllocations = 100'000;
  for (int allocations = 0; allocations < kMostAllocations; ++allocations) {
    bool hasFailed = false;
    const Status status = CallWithFailedAllocation(allocations, body, &hasFailed);
    if (!hasFailed) {
      EXPECT_EQ(noErr, status) << "with all its memory";
      EXPECT_LT(0, allocations) << "no memory was asked for";
      return;
    }
    ASSERT_EQ(memFullErr, status) << "without allocation " << allocations;
    look();
    if (testing::Test::HasFailure()) return;
  }
  ADD_FAILURE() << "it asks for memory without end";
}

}  // namespace tessary::test
