#pragma once

#include <cstdint>

namespace tessary {

// Returns the date and time in whole seconds since 1904-01-01 00:00 UTC, modulo 2^32. Within one
// process the value never decreases or jumps, even if the system clock is set. Time while the
// machine is suspended counts.
uint32_t GetDateTime();

}  // namespace tessary
