#include "platform/linux/catalog/creation_date.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <tuple>

#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/catalog/reference.h"

namespace tessary {
namespace {

constexpr int64_t kDaySeconds = 86'400;
constexpr int64_t kFirstSecond = -62'167'219'200;  // 0000-01-01T00:00:00Z
constexpr int64_t kLastSecond = 253'402'300'799;   // 9999-12-31T23:59:59Z

using ObjectKey = std::tuple<uint32_t, uint64_t, uint64_t>;

struct RememberedDates {
  std::mutex mutex;
  std::map<ObjectKey, Timestamp> dates;
};

RememberedDates& Remembered() {
  static RememberedDates gRemembered;
  return gRemembered;
}

ObjectKey KeyOf(const struct statx& info) {
  const Identity identity = Identity::Of(info);
  return {identity.device, identity.inode, identity.birth};
}

// Reads a number of exactly `digits` digits off the front of the text.
bool TakeNumber(std::string_view* text, size_t digits, int* number) {
  if (text->size() < digits) return false;
  const char* end = text->data() + digits;
  if (text->front() == '-') return false;
  const auto [stop, error] = std::from_chars(text->data(), end, *number);
  if (error != std::errc() || stop != end) return false;
  text->remove_prefix(digits);
  return true;
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

std::optional<Timestamp> ReadAttribute(const Place& place) {
  std::array<char, 64> text = {};
  const ssize_t size =
      GetAttribute(place, kCreationDateAttribute, text.data(), text.size(), AtLink::kFollow);
  if (size < 0) return std::nullopt;
  return ParseCreationDate({text.data(), static_cast<size_t>(size)});
}

}  // namespace

std::string FormatCreationDate(const Timestamp& date) {
  if (date.seconds < kFirstSecond || date.seconds > kLastSecond) return {};
  const std::chrono::sys_seconds instant{std::chrono::seconds(date.seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(instant);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss time(instant - day);
  std::array<char, 40> text = {};
  (void)std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%09uZ",
                      int{calendar.year()}, unsigned{calendar.month()}, unsigned{calendar.day()},
                      static_cast<int>(time.hours().count()),
                      static_cast<int>(time.minutes().count()),
                      static_cast<int>(time.seconds().count()), date.nanoseconds);
  return text.data();
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

std::optional<Timestamp> CreationDateAt(const Place& place, const struct statx& info) {
  const std::optional<Timestamp> carried = ReadAttribute(place);
  return carried ? carried : CreationDateWithoutAttribute(info);
}

std::optional<Timestamp> CreationDateWithoutAttribute(const struct statx& info) {
  {
    const std::lock_guard lock(Remembered().mutex);
    const auto found = Remembered().dates.find(KeyOf(info));
    if (found != Remembered().dates.end()) return found->second;
  }
  if ((info.stx_mask & STATX_BTIME) == 0) return std::nullopt;
  return Timestamp{info.stx_btime.tv_sec, info.stx_btime.tv_nsec};
}

void RememberCreationDate(const struct statx& info, const Timestamp& date) {
  const std::lock_guard lock(Remembered().mutex);
  Remembered().dates[KeyOf(info)] = date;
}

}  // namespace tessary
