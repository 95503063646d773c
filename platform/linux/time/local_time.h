#pragma once

#include <ctime>
#include <optional>

namespace tessary {

// Converts an instant to the date and time of day in the system's time zone, which is read once per
// process and by CFTimeZoneResetSystem. None if the year is out of range.
std::optional<std::tm> LocalTime(time_t instant);

}  // namespace tessary
