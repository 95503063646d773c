#include "tests/app/scripted_clock.h"

#include "platform/managers/date_time.h"

namespace tessary {
namespace {

uint32_t gNow = 0;
uint32_t gStep = 0;

}  // namespace

// Replaces the definition of platform/linux: the linker does not take an object from a static
// library for a symbol that the program defines.
uint32_t GetDateTime() { return gNow += gStep; }

namespace test {

void SetClock(uint32_t start, uint32_t step) {
  gNow = start;
  gStep = step;
}

}  // namespace test
}  // namespace tessary
