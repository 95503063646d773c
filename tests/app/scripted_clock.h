#pragma once

#include <cstdint>

namespace tessary::test {

// Sets the clock that replaces the system's in this test program. Each reading is `step` seconds
// after the one before; the first one is `step` seconds after `start`.
void SetClock(uint32_t start, uint32_t step);

}  // namespace tessary::test
