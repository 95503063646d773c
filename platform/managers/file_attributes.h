#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// An instant: whole seconds since 1970-01-01 00:00 UTC, rounded down, and nanoseconds within that
// second (0..999,999,999).
struct Timestamp {
  int64_t seconds = 0;
  uint32_t nanoseconds = 0;

  auto operator<=>(const Timestamp&) const = default;
};

enum class DateAttribute { NSFileModificationDate, NSFileCreationDate };

// Returns a date of the object at the absolute `path`; a link is followed. Returns none if the
// object, the link's target or the date does not exist. The creation date is the first that exists
// of: the attribute "user.tessary.creation-date", the date that a file server or a driver keeps,
// the filesystem's birth time.
//
// `status` may be null. `*status` is always written: noErr if the question is answered, also if
// there is no date; otherwise the reason why the object could not be read, and then none is
// returned.
std::optional<Timestamp> CopyFileDateAtPath(const std::string& path, DateAttribute attribute,
                                            Status* status = nullptr);

}  // namespace tessary
