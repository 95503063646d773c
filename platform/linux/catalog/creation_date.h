#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/file_attributes.h"

// The creation date that an object carries with it. Linux cannot set a birth time, so a copy keeps
// its original's date in an attribute, or where the volume has none, in memory as long as the run
// lasts.
namespace tessary {

inline constexpr char kCreationDateAttribute[] = "user.tessary.creation-date";

// "2009-03-04T05:06:07.000000089Z": UTC, ISO 8601, nanoseconds always written. Empty for an instant
// outside of the years 0 to 9999, which the form cannot hold.
std::string FormatCreationDate(const Timestamp& date);

// The reverse; fewer or no decimals are read as well. None for anything else.
std::optional<Timestamp> ParseCreationDate(std::string_view text);

// The creation date that an attribute of that name and value tells; none for every other attribute
// and for what is no date. Of two attributes that tell one, that of the lower rank counts.
struct AttributeDate {
  Timestamp date;
  size_t rank = 0;
};
std::optional<AttributeDate> ReadAttributeDate(std::string_view name, std::string_view value);

// The creation date of an object: that of its attributes at the place (links followed) in the order
// of their ranks, else the one that the driver of its volume answers with, else the one remembered
// of the object, else the birth time in `info`, else none. `info` is the object's statx result with
// STATX_BTIME asked for. One listing of its attributes, and nothing more where they hold none and
// its driver no date. `*origin`, where it is not null, is the name of the attribute, or
// kBirthTimeOrigin.
std::optional<Timestamp> CreationDateAt(const Place& place, const struct statx& info,
                                        std::string* origin = nullptr);

inline constexpr char kBirthTimeOrigin[] = "birth time";

// The same less the listed attributes, for who has looked at those already and has the object open.
std::optional<Timestamp> CreationDateWithoutAttribute(int file, const struct statx& info);

// Sets the date where the driver of the object's volume takes one. False where it does not, or
// refuses it. `info` is the open object's statx result.
bool SetCreationDate(int file, const struct statx& info, const Timestamp& date);

// Remembers for this run the date of the object, on a volume without attributes.
void RememberCreationDate(const struct statx& info, const Timestamp& date);

// Forgets all that were remembered, as the numbers that an object is known by go to others.
void ForgetCreationDates();

}  // namespace tessary
