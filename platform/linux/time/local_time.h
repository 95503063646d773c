#pragma once

#include <ctime>
#include <optional>

namespace tessary {

// The date and time of day of an instant in the system's time zone, which is read once per process;
// none where the instant is beyond what a calendar can hold.
std::optional<std::tm> LocalTime(time_t instant);

}  // namespace tessary
