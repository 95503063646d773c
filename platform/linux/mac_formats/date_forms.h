#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_attributes.h"

// The forms in which file servers and drivers hold a creation date. Malformed data is none, and so
// is a date that is told not to be known.
namespace tessary {

struct DateForm {
  const char* attribute;
  std::optional<Timestamp> (*read)(std::string_view value);
};

// AppleDouble data with an entry of dates.
std::optional<Timestamp> ReadAppleDoubleDate(std::string_view value);

// What Samba keeps of DOS: a text, a version, and a record by the version, of which 1, 3, 4 and 5
// tell the date. The text is ended by a zero; behind it every number begins at a multiple of 2 or 4
// bytes and has its least byte first.
std::optional<Timestamp> ReadDosAttributesDate(std::string_view value);

// The 8 bytes of an NT time, the greatest first or, as the CIFS driver hands it out, in this
// machine's order.
std::optional<Timestamp> ReadBigNtTime(std::string_view value);
std::optional<Timestamp> ReadNativeNtTime(std::string_view value);

// The one that counts first stands first.
inline constexpr std::array<DateForm, 2> kDateForms = {{
    {"user.org.netatalk.Metadata", ReadAppleDoubleDate},
    {"user.DOSATTRIB", ReadDosAttributesDate},
}};

// These come behind the forms above. Their drivers answer for them and do not list them.
inline constexpr DateForm kNtfsDateForm = {"system.ntfs_crtime_be", ReadBigNtTime};
inline constexpr DateForm kCifsDateForm = {"user.cifs.creationtime", ReadNativeNtTime};

// The value of these two for a date: tenths of microseconds since 1601, the rest cut off. Empty for
// an instant that the form cannot hold.
std::string WriteBigNtTime(const Timestamp& date);
std::string WriteNativeNtTime(const Timestamp& date);

}  // namespace tessary
