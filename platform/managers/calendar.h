#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_attributes.h"

namespace tessary {

// The language-dependent parts of a date's description.
struct DateLocale {
  std::array<std::string, 12> shortMonthNames;  // UTF-8, January first
};

// Returns the locale that LC_ALL, LC_TIME or LANG sets for dates. Returns none for the C and POSIX
// locales, and for a locale that is not installed.
std::optional<DateLocale> CopyUserDateLocale();

// Reads the system's time zone again, which is otherwise read once per process.
void CFTimeZoneResetSystem();

// A date in the system's time zone.
struct NSCalendarDate {
  int64_t year = 0;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
};

// Returns the local calendar date of an instant, or none if the year is out of range.
std::optional<NSCalendarDate> CalendarDateFromTimestamp(const Timestamp& instant);

// Formats the date. `format` consists of %Y (at least four digits), %b (abbreviated month name), %d
// (two digits), %% and plain text; other conversions are copied unchanged. Month names are those of
// `locale`, or English if it is null.
std::string DescriptionWithCalendarFormat(const NSCalendarDate& date, std::string_view format,
                                          const DateLocale* locale);

}  // namespace tessary
