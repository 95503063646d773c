#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_attributes.h"

// The forms in which file servers and drivers store a creation date. Malformed data, and a date
// that is marked as unknown, read as none.
namespace tessary {

struct DateForm {
  const char* attribute;
  std::optional<Timestamp> (*read)(std::string_view value);
};

// AppleDouble data with an entry kFileDates.
std::optional<Timestamp> ReadAppleDoubleDate(std::string_view value);

// The DOS attributes that Samba stores: a zero-terminated text, a version, and a record whose
// layout depends on the version; versions 1, 3, 4 and 5 contain the date. Numbers are
// little-endian; those of 2 bytes are aligned to 2, longer ones to 4.
std::optional<Timestamp> ReadDosAttributesDate(std::string_view value);

// An NT time of 8 bytes: big-endian, or in the machine's byte order, as the CIFS driver provides
// it.
std::optional<Timestamp> ReadBigNtTime(std::string_view value);
std::optional<Timestamp> ReadNativeNtTime(std::string_view value);

// In order of precedence.
inline constexpr std::array<DateForm, 2> kDateForms = {{
    {"user.org.netatalk.Metadata", ReadAppleDoubleDate},
    {"user.DOSATTRIB", ReadDosAttributesDate},
}};

// These come after the forms above. Their drivers provide them without listing them.
inline constexpr DateForm kNtfsDateForm = {"system.ntfs_crtime_be", ReadBigNtTime};
inline constexpr DateForm kCifsDateForm = {"user.cifs.creationtime", ReadNativeNtTime};

// Return the value of these two attributes for a date: units of 100 nanoseconds since 1601, rounded
// down. Empty for a date that the form cannot hold.
std::string WriteBigNtTime(const Timestamp& date);
std::string WriteNativeNtTime(const Timestamp& date);

}  // namespace tessary
