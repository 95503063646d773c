#include "tests/app/scripted_clock.h"

#include "platform/managers/date_time.h"

namespace tessary {
namespace {

uint32_t gNow = 0;
uint32_t gStep = 0;

}  // namespace

// A program's own definition goes before that of a library, which is then not linked at all.
uint32_t GetDateTime() { return gNow += gStep; }

namespace test {

void SetClock(uint32_t start, uint32_t step) {
  gNow = start;
  gStep = step;
}

}  // namespace test
}  // namespace tessary
