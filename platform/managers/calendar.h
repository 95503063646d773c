#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_attributes.h"

namespace tessary {

// What a language contributes to a date's description.
struct DateLocale {
  std::array<std::string, 12> shortMonthNames;  // UTF-8, January first
};

// The date locale of the user's LC_TIME setting; none for the C and POSIX locales and for one that
// is not installed.
std::optional<DateLocale> CopyUserDateLocale();

// A date and time of day in the system's current time zone.
struct NSCalendarDate {
  int64_t year = 0;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
};

// The calendar date of an instant; none where the instant is beyond what a calendar can hold.
std::optional<NSCalendarDate> CalendarDateFromTimestamp(const Timestamp& instant);

// Describes the date by a format of %Y (four digits at least), %b, %d (two digits), %% and plain
// text, with the locale's month names or, without a locale, the English ones. Other conversions are
// copied as they stand.
std::string DescriptionWithCalendarFormat(const NSCalendarDate& date, std::string_view format,
                                          const DateLocale* locale);

}  // namespace tessary
