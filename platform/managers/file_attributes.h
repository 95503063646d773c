#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// An instant: seconds since 1970-01-01 00:00 UTC, and nanoseconds of the second (0..999,999,999).
struct Timestamp {
  int64_t seconds = 0;
  uint32_t nanoseconds = 0;

  auto operator<=>(const Timestamp&) const = default;
};

enum class DateAttribute { NSFileModificationDate, NSFileCreationDate };

// The date of the object at `path`, a link being dated by its target; none where the object, the
// target or the date is missing. The creation date is the one carried in the attribute
// "user.tessary.creation-date" when there is one, else the one that a file server or a driver has
// kept of it, else the file system's own. `*status`, where it is given, is noErr whether there is a
// date or not, and else why that could not be found out.
std::optional<Timestamp> CopyFileDateAtPath(const std::string& path, DateAttribute attribute,
                                            Status* status = nullptr);

}  // namespace tessary
