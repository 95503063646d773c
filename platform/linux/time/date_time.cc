#include "platform/managers/date_time.h"

#include <cstdint>
#include <ctime>

namespace tessary {
namespace {

constexpr int64_t kSecondsFrom1904To1970 = 2'082'844'800;
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

// The status is dropped because neither clock can fail: every kernel that runs this has both.
int64_t Nanoseconds(clockid_t clock) {
  timespec time = {};
  (void)clock_gettime(clock, &time);
  return static_cast<int64_t>(time.tv_sec) * kNanosecondsPerSecond + time.tv_nsec;
}

}  // namespace

// The realtime clock is read once, and time elapsed since then is measured with the boot-time
// clock, which cannot be set. CLOCK_MONOTONIC would not count the time while the machine is
// suspended.
uint32_t GetDateTime() {
  static const int64_t start = Nanoseconds(CLOCK_REALTIME) - Nanoseconds(CLOCK_BOOTTIME);
  const int64_t now = start + Nanoseconds(CLOCK_BOOTTIME);
  return static_cast<uint32_t>(now / kNanosecondsPerSecond + kSecondsFrom1904To1970);
}

}  // namespace tessary
