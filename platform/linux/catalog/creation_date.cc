#include "platform/linux/catalog/creation_date.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/remembered_dates.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/mac_formats/date_forms.h"

namespace tessary {
namespace {

constexpr int64_t kDaySeconds = 86'400;
// The dates that the text form can hold: its years have four digits.
constexpr int64_t kFirstSecond = -62'167'219'200;  // 0000-01-01T00:00:00Z
constexpr int64_t kLastSecond = 253'402'300'799;   // 9999-12-31T23:59:59Z

// Consumes a number of exactly `digits` digits. from_chars alone would accept a minus sign.
bool TakeNumber(std::string_view* text, size_t digits, int* number) {
  if (text->size() < digits) return false;
  const char* end = text->data() + digits;
  if (text->front() == '-') return false;
  const auto [stop, error] = std::from_chars(text->data(), end, *number);
  if (error != std::errc() || stop != end) return false;
  text->remove_prefix(digits);
  return true;
}

// Writes the last `digits` decimal digits of a number over the characters at `text`.
void PutNumber(uint32_t number, size_t digits, char* text) {
  for (size_t at = digits; at > 0; number /= 10) {
    --at;
    text[at] = static_cast<char>('0' + number % 10);
  }
}

bool TakeCharacter(std::string_view* text, char character) {
  if (text->empty() || text->front() != character) return false;
  text->remove_prefix(1);
  return true;
}

bool TakeFraction(std::string_view* text, uint32_t* nanoseconds) {
  *nanoseconds = 0;
  if (!TakeCharacter(text, '.')) return true;
  const size_t digits = text->find_first_not_of("0123456789");
  if (digits == 0 || digits > 9) return false;
  int fraction = 0;
  if (!TakeNumber(text, digits, &fraction)) return false;
  for (size_t i = digits; i < 9; ++i) fraction *= 10;
  *nanoseconds = static_cast<uint32_t>(fraction);
  return true;
}

std::optional<Timestamp> ReadOwnAttribute(std::string_view value) {
  return ParseCreationDate(value);
}

// The attributes that can hold a date, in order of precedence. The one that our copies write comes
// first.
constexpr std::array<DateForm, 1 + kDateForms.size()> kAttributeForms = {{
    {kCreationDateAttribute, ReadOwnAttribute},
    kDateForms[0],
    kDateForms[1],
}};

// The form in which a filesystem's driver provides the creation date. Drivers do not list these
// attributes, so they are read without looking for them in the listing.
struct DriverForm {
  DateForm form;
  std::string (*write)(const Timestamp& date);
};

// Null if the driver has none.
const DriverForm* DriverFormOf(const Volume& volume) {
  static constexpr DriverForm kNtfs = {kNtfsDateForm, WriteBigNtTime};
  static constexpr DriverForm kCifs = {kCifsDateForm, WriteNativeNtTime};
  if (volume.hasNtfsDates) return &kNtfs;
  return volume.hasCifsDates ? &kCifs : nullptr;
}

std::optional<Timestamp> RememberedOrBirth(const struct statx& info) {
  const auto remembered = RememberedDate(info, DateAttribute::NSFileCreationDate);
  if (remembered) return remembered;
  if ((info.stx_mask & STATX_BTIME) == 0) return std::nullopt;
  return Timestamp{info.stx_btime.tv_sec, info.stx_btime.tv_nsec};
}

std::optional<Timestamp> ReadForm(const Place& place, const DateForm& form) {
  std::optional<std::string> value;
  const Status status = ReadAttribute(place, form.attribute, LinkHandling::kFollow, &value);
  return status == noErr && value ? form.read(*value) : std::nullopt;
}

std::optional<Timestamp> ReadAttributes(const Place& place, std::string* origin) {
  AttributeNames names;
  // Not a failure: the birth time is a usable answer without the attributes.
  if (names.Read(place, LinkHandling::kFollow) != noErr) return std::nullopt;
  for (const DateForm& form : kAttributeForms) {
    if (!names.Has(form.attribute)) continue;
    const std::optional<Timestamp> date = ReadForm(place, form);
    if (!date) continue;
    *origin = form.attribute;
    return date;
  }
  return std::nullopt;
}

}  // namespace

std::string FormatCreationDate(const Timestamp& date) {
  if (date.seconds < kFirstSecond || date.seconds > kLastSecond) return {};
  const std::chrono::sys_seconds instant{std::chrono::seconds(date.seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(instant);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss time(instant - day);
  std::string text = "0000-00-00T00:00:00.000000000Z";
  PutNumber(static_cast<uint32_t>(int{calendar.year()}), 4, text.data());
  PutNumber(unsigned{calendar.month()}, 2, text.data() + 5);
  PutNumber(unsigned{calendar.day()}, 2, text.data() + 8);
  PutNumber(static_cast<uint32_t>(time.hours().count()), 2, text.data() + 11);
  PutNumber(static_cast<uint32_t>(time.minutes().count()), 2, text.data() + 14);
  PutNumber(static_cast<uint32_t>(time.seconds().count()), 2, text.data() + 17);
  PutNumber(date.nanoseconds, 9, text.data() + 20);
  return text;
}

std::optional<Timestamp> ParseCreationDate(std::string_view text) {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  uint32_t nanoseconds = 0;
  const bool isRead =
      TakeNumber(&text, 4, &year) && TakeCharacter(&text, '-') && TakeNumber(&text, 2, &month) &&
      TakeCharacter(&text, '-') && TakeNumber(&text, 2, &day) && TakeCharacter(&text, 'T') &&
      TakeNumber(&text, 2, &hour) && TakeCharacter(&text, ':') && TakeNumber(&text, 2, &minute) &&
      TakeCharacter(&text, ':') && TakeNumber(&text, 2, &second) &&
      TakeFraction(&text, &nanoseconds) && TakeCharacter(&text, 'Z') && text.empty();
  if (!isRead || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::chrono::year_month_day calendar(std::chrono::year(year),
                                             std::chrono::month(static_cast<unsigned>(month)),
                                             std::chrono::day(static_cast<unsigned>(day)));
  if (!calendar.ok()) return std::nullopt;
  const int64_t days = std::chrono::sys_days(calendar).time_since_epoch().count();
  const int timeOfDay = hour * 3600 + minute * 60 + second;
  return Timestamp{days * kDaySeconds + timeOfDay, nanoseconds};
}

std::optional<AttributeDate> ReadAttributeDate(std::string_view name, std::string_view value) {
  for (size_t rank = 0; rank < kAttributeForms.size(); ++rank) {
    if (name != kAttributeForms[rank].attribute) continue;
    const std::optional<Timestamp> date = kAttributeForms[rank].read(value);
    if (date) return AttributeDate{*date, rank};
  }
  return std::nullopt;
}

std::optional<Timestamp> CreationDateAt(const Place& place, const struct statx& info,
                                        std::string* origin) {
  std::string ignored;
  std::string* const from = origin != nullptr ? origin : &ignored;
  if (const std::optional<Timestamp> carried = ReadAttributes(place, from)) return carried;
  const Volume& volume = VolumeAt(Identity::Of(info).device, place.ProcessPath());
  if (const DriverForm* driver = DriverFormOf(volume)) {
    *from = driver->form.attribute;
    if (const std::optional<Timestamp> date = ReadForm(place, driver->form)) return date;
  }
  *from = kBirthTimeOrigin;
  return RememberedOrBirth(info);
}

std::optional<Timestamp> CreationDateWithoutAttribute(int file, const struct statx& info) {
  const DriverForm* driver = DriverFormOf(VolumeOf(Identity::Of(info).device, file));
  if (driver != nullptr) {
    // The date that the driver stores has precedence over the birth time that statx reports.
    std::array<char, 8> value = {};
    const ssize_t size = fgetxattr(file, driver->form.attribute, value.data(), value.size());
    const auto date =
        driver->form.read({value.data(), static_cast<size_t>(std::max<ssize_t>(size, 0))});
    if (date) return date;
  }
  return RememberedOrBirth(info);
}

bool SetCreationDate(int file, const struct statx& info, const Timestamp& date) {
  const DriverForm* driver = DriverFormOf(VolumeOf(Identity::Of(info).device, file));
  if (driver == nullptr) return false;
  const std::string value = driver->write(date);
  return !value.empty() &&
         fsetxattr(file, driver->form.attribute, value.data(), value.size(), 0) == 0;
}

}  // namespace tessary
