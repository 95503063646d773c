#pragma once

#include <cstdint>

namespace tessary::test {

// The clock of this test program, in the place of the system's: each reading is `step` seconds
// after the one before, the next one `step` after `start`.
void SetClock(uint32_t start, uint32_t step);

}  // namespace tessary::test
