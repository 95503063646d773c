#include "platform/linux/time/local_time.h"

#include "platform/managers/calendar.h"

namespace tessary {

void CFTimeZoneResetSystem() { tzset(); }

std::optional<std::tm> LocalTime(time_t instant) {
  // localtime_r, unlike localtime, need not read the time zone itself.
  static const bool isZoneRead = (tzset(), true);
  (void)isZoneRead;
  std::tm local = {};
  if (localtime_r(&instant, &local) == nullptr) return std::nullopt;
  return local;
}

}  // namespace tessary
