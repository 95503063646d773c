#include "tests/support/fault_injection/failing_allocations.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local uint64_t gAllocations = 0;
thread_local uint64_t gFirst = 0;
thread_local uint64_t gCount = 0;

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

// The sanitizers' own does not call the operator above.
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
                                      const std::function<void()>& check) {
  constexpr int kMaxAllocations = 100'000;
  for (int allocations = 0; allocations < kMaxAllocations; ++allocations) {
    bool hasFailed = false;
    const Status status = CallWithFailedAllocation(allocations, body, &hasFailed);
    if (!hasFailed) {
      EXPECT_EQ(noErr, status) << "without a failed allocation";
      EXPECT_LT(0, allocations) << "no allocation was made";
      return;
    }
    ASSERT_EQ(memFullErr, status) << "with failed allocation " << allocations;
    check();
    if (testing::Test::HasFailure()) return;
  }
  ADD_FAILURE() << "the number of allocations has no end";
}

}  // namespace tessary::test
