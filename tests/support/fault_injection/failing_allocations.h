#pragma once

#include <cstdint>
#include <functional>

#include "platform/managers/status.h"

namespace tessary::test {

// Has this thread's allocations of memory fail: `count` of them from number `first` on, both
// counted from 1 and from here on. With a count of 0 none fails.
void FailAllocations(uint64_t first, uint64_t count);

// How many allocations this thread has asked for since.
uint64_t CountAllocations();

// Calls `body`, and has the allocation of memory of that number fail in it, counted from 0.
// `*hasFailed` is set to whether it asked for that many.
Status CallWithFailedAllocation(int allocation, const std::function<Status()>& body,
                                bool* hasFailed);

// Calls `body` over and over, and each time has one allocation of memory fail, the first one, then
// the second one and so on, until it has asked for no more. Expects memFullErr of each call but the
// last, which has had all its memory and is expected to answer noErr. The body expects nothing
// itself, as that takes memory too; after each call that failed, `look` is called, which may.
void ExpectMemFullOnFailedAllocations(
    const std::function<Status()>& body, const std::function<void()>& look = [] {});

}  // namespace tessary::test
