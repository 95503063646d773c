#pragma once

#include <cstdint>

namespace tessary {

// The date and time in whole seconds since 1904-01-01 00:00 UTC, modulo 2^32. Within one process it
// never runs back nor leaps, whatever is done to the system's clock meanwhile; time during which
// the machine sleeps counts.
uint32_t GetDateTime();

}  // namespace tessary
