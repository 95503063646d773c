#include "platform/linux/mac_formats/date_forms.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/bytes.h"

namespace tessary {
namespace {

constexpr uint64_t kTicksPerSecond = 10'000'000;
constexpr uint32_t kNanosecondsPerTick = 100;
constexpr int64_t kSecondsFrom1601 = 11'644'473'600;  // to 1970
constexpr uint64_t kMaxTicks = std::numeric_limits<int64_t>::max();

constexpr size_t kNtTimeSize = 8;
constexpr size_t kMaxHexTextLength = 16;
constexpr uint32_t kHasCreationTime = 0x10;

// Zero, and a value above the range of a signed number (the year 30828), mean an unknown date.
std::optional<Timestamp> DateOfTicks(std::optional<uint64_t> ticks) {
  if (!ticks || *ticks == 0 || *ticks > kMaxTicks) return std::nullopt;
  return Timestamp{static_cast<int64_t>(*ticks / kTicksPerSecond) - kSecondsFrom1601,
                   static_cast<uint32_t>(*ticks % kTicksPerSecond) * kNanosecondsPerTick};
}

std::optional<uint64_t> TicksOfDate(const Timestamp& date) {
  constexpr auto kLastSecond = static_cast<int64_t>(kMaxTicks / kTicksPerSecond) - 1;
  if (date.seconds < -kSecondsFrom1601 || date.seconds > kLastSecond - kSecondsFrom1601) {
    return std::nullopt;
  }
  const uint64_t ticks = static_cast<uint64_t>(date.seconds + kSecondsFrom1601) * kTicksPerSecond +
                         date.nanoseconds / kNanosecondsPerTick;
  if (ticks == 0) return std::nullopt;
  return ticks;
}

// The layout of the record of a version.
struct DosRecord {
  uint64_t version;
  bool hasFlags;  // its first 4 bytes say which fields are valid
  size_t dateAt;  // offset of the creation date in the record
};

constexpr std::array<DosRecord, 4> kDosRecords = {{
    {1, false, 24},
    {3, true, 28},
    {4, true, 16},
    {5, true, 8},
}};

constexpr size_t RoundUp(size_t at, size_t unit) { return (at + unit - 1) / unit * unit; }

std::string BigEndianBytes(uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFF);
  }
  return bytes;
}

}  // namespace

std::optional<Timestamp> ReadAppleDoubleDate(std::string_view value) {
  const std::optional<AppleDouble> data = AppleDouble::Parse(value);
  const std::optional<int64_t> seconds = data ? data->CreationSeconds() : std::nullopt;
  if (!seconds) return std::nullopt;
  return Timestamp{*seconds, 0};
}

std::optional<Timestamp> ReadDosAttributesDate(std::string_view value) {
  const size_t textEnd = value.substr(0, kMaxHexTextLength).find('\0');
  if (textEnd == std::string_view::npos) return std::nullopt;
  // Samba stores the attributes as a text of hexadecimal digits, and after its zero the record in
  // the encoding of remote calls, in which each field is aligned to its own size.
  const size_t versionAt = RoundUp(textEnd + 1, 2);
  const std::optional<uint64_t> version = ReadLittleEndian(value, versionAt, 2);
  // The version is stored twice: once for the value, and once as the tag of the record.
  if (!version || ReadLittleEndian(value, versionAt + 2, 2) != version) return std::nullopt;
  const auto* record = std::ranges::find(kDosRecords, *version, &DosRecord::version);
  if (record == kDosRecords.end()) return std::nullopt;
  const size_t recordAt = RoundUp(versionAt + 4, 4);
  if (record->hasFlags) {
    const std::optional<uint64_t> flags = ReadLittleEndian(value, recordAt, 4);
    if (!flags || (*flags & kHasCreationTime) == 0) return std::nullopt;
  }
  return DateOfTicks(ReadLittleEndian(value, recordAt + record->dateAt, kNtTimeSize));
}

std::optional<Timestamp> ReadBigNtTime(std::string_view value) {
  if (value.size() != kNtTimeSize) return std::nullopt;
  return DateOfTicks(ReadBigEndian(value, 0, kNtTimeSize));
}

std::optional<Timestamp> ReadNativeNtTime(std::string_view value) {
  if (value.size() != kNtTimeSize) return std::nullopt;
  const bool isBig = std::endian::native == std::endian::big;
  return DateOfTicks(isBig ? ReadBigEndian(value, 0, kNtTimeSize)
                           : ReadLittleEndian(value, 0, kNtTimeSize));
}

std::string WriteBigNtTime(const Timestamp& date) {
  const std::optional<uint64_t> ticks = TicksOfDate(date);
  return ticks ? BigEndianBytes(*ticks) : std::string();
}

std::string WriteNativeNtTime(const Timestamp& date) {
  std::string bytes = WriteBigNtTime(date);
  if (std::endian::native == std::endian::little) std::ranges::reverse(bytes);
  return bytes;
}

}  // namespace tessary
