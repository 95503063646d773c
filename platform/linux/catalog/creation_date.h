#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_attributes.h"

// The creation date that an object carries with it. Linux cannot set a birth time, so a copy keeps
// its original's date in an attribute, or in this process's memory where the volume has none.
namespace tessary {

inline constexpr char kCreationDateAttribute[] = "user.tessary.creation-date";

// "2009-03-04T05:06:07.000000089Z": UTC, ISO 8601, nanoseconds always written. Empty for an instant
// outside of the years 0 to 9999, which the form cannot hold.
std::string FormatCreationDate(const Timestamp& date);

// The reverse; fewer or no decimals are read as well. None for anything else.
std::optional<Timestamp> ParseCreationDate(std::string_view text);

// The creation date of an object: the attribute's at the place (links followed), else the one
// remembered of the object, else the birth time in `info`, else none. `info` is the object's
// statx result with STATX_BTIME asked for.
std::optional<Timestamp> CreationDateAt(const Place& place, const struct statx& info);

// The same less the attribute, for who has looked for that already.
std::optional<Timestamp> CreationDateWithoutAttribute(const struct statx& info);

// Remembers for this process the date of the object, on a volume without attributes.
void RememberCreationDate(const struct statx& info, const Timestamp& date);

}  // namespace tessary
