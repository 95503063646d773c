#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_attributes.h"

// Creation dates. Linux cannot set a birth time, so a copy stores the date of its original in an
// extended attribute. On a filesystem without attributes the date is remembered until the run ends
// (remembered_dates.h).
namespace tessary {

inline constexpr char kCreationDateAttribute[] = "user.tessary.creation-date";

// Formats a date as "2009-03-04T05:06:07.000000089Z": ISO 8601, UTC, always nine decimals. Empty
// for a date outside the years 0 to 9999.
std::string FormatCreationDate(const Timestamp& date);

// Parses that form; fewer decimals or none are accepted too. None for any other text.
std::optional<Timestamp> ParseCreationDate(std::string_view text);

// Reads a creation date from an attribute of that name and value. None if the attribute does not
// hold creation dates, or its value is malformed. If several attributes of an object hold one, that
// of the lowest rank counts.
struct AttributeDate {
  Timestamp date;
  size_t rank = 0;
};
std::optional<AttributeDate> ReadAttributeDate(std::string_view name, std::string_view value);

// Returns the creation date of the object at a place; a link is followed. The first that exists of:
// the attributes in the order of their ranks, the date that the filesystem's driver provides, the
// date remembered in this run, the birth time in `info`. None if there is none. `info` is the
// object's statx result, asked for with STATX_BTIME. Costs one listing of the attributes, and no
// more if none of them and no driver holds a date. `*origin`, unless null, receives the attribute's
// name or kBirthTimeOrigin.
std::optional<Timestamp> CreationDateAt(const Place& place, const struct statx& info,
                                        std::string* origin = nullptr);

inline constexpr char kBirthTimeOrigin[] = "birth time";

// Like CreationDateAt, but without the attributes that a listing shows: for a caller that has read
// them already and has the object open as `file`.
std::optional<Timestamp> CreationDateWithoutAttribute(int file, const struct statx& info);

// Sets the date of the object open as `file`, if the filesystem's driver stores creation dates.
// `info` is its statx result. Returns false if the driver does not, or if it refuses the date.
bool SetCreationDate(int file, const struct statx& info, const Timestamp& date);

}  // namespace tessary
