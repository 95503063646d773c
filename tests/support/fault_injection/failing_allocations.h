#pragma once

#include <cstdint>
#include <functional>

#include "platform/managers/status.h"

namespace tessary::test {

// Makes memory allocations of this thread fail: `count` of them from number `first` on, both
// counted from 1 and from this call on. With a count of 0 none fails.
void FailAllocations(uint64_t first, uint64_t count);

// Returns how many allocations this thread has made or tried since FailAllocations.
uint64_t CountAllocations();

// Calls `body` and makes one of its allocations fail, whose number is counted from 0. Sets
// `*hasFailed` to whether `body` got that far.
Status CallWithFailedAllocation(int allocation, const std::function<Status()>& body,
                                bool* hasFailed);

// Calls `body` repeatedly, with the first allocation failing, then the second and so on, until
// `body` makes fewer. Expects memFullErr from each call with a failed allocation and noErr from the
// last one. `body` must not contain expectations, which allocate memory too; `check`, called after
// each failure, may.
void ExpectMemFullOnFailedAllocations(
    const std::function<Status()>& body, const std::function<void()>& check = [] {});

}  // namespace tessary::test
