#include "platform/linux/mac_formats/apple_double.h"

#include "platform/linux/mac_formats/bytes.h"

namespace tessary {
namespace {

constexpr uint32_t kMagic = 0x00051607;
constexpr uint32_t kVersion = 0x00020000;
constexpr size_t kCountAt = 24;
constexpr size_t kTableAt = 26;
constexpr size_t kEntrySize = 12;
constexpr size_t kFinderInfoSize = 32;

// What a Mac and the file servers write for a date that is not known.
constexpr uint32_t kUnknownDate = 0x80000000;
constexpr int64_t kSecondsTo2000 = 946'684'800;

// The table of attributes: two bytes of padding behind the Finder information, then
//   at 0   magic "ATTR"
//   at 8   where in the data all of it ends
//   at 34  number of attributes, 16 bits
//   at 36  the attributes: offset, length, 16 bits of flags, length of the name with its zero,
//   name,
//          each beginning at a multiple of 4 of the data
constexpr uint32_t kAttributesMagic = 0x41545452;
constexpr size_t kAttributesAt = kFinderInfoSize + 2;
constexpr size_t kAttributeCountAt = 34;
constexpr size_t kFirstAttributeAt = 36;
constexpr size_t kAttributeHeadSize = 11;

std::optional<AppleDoubleAttribute> ReadAttribute(std::string_view data, size_t at) {
  const std::optional<uint32_t> offset = ReadBig32(data, at);
  const std::optional<uint32_t> length = ReadBig32(data, at + 4);
  const std::optional<uint64_t> nameSize = ReadBigEndian(data, at + 10, 1);
  if (!offset || !length || !nameSize || *nameSize < 2) return std::nullopt;
  const auto name = PartOf(data, at + kAttributeHeadSize, *nameSize);
  const auto value = PartOf(data, *offset, *length);
  // A zero ends the name and lies nowhere else in it.
  if (!name || !value || name->find('\0') != name->size() - 1) return std::nullopt;
  return AppleDoubleAttribute{name->substr(0, name->size() - 1), *value, at};
}

}  // namespace

std::optional<AppleDouble> AppleDouble::Parse(std::string_view data) {
  if (ReadBig32(data, 0) != kMagic || ReadBig32(data, 4) != kVersion) return std::nullopt;
  const std::optional<uint16_t> count = ReadBig16(data, kCountAt);
  if (!count || !PartOf(data, kTableAt, *count * kEntrySize)) return std::nullopt;
  return AppleDouble(data, *count);
}

std::optional<ByteRange> AppleDouble::Find(AppleDoubleEntry id) const {
  for (size_t i = 0; i < count_; ++i) {
    const size_t at = kTableAt + i * kEntrySize;
    if (ReadBig32(data_, at) != static_cast<uint32_t>(id)) continue;
    const ByteRange range{ReadBig32(data_, at + 4).value_or(0),
                          ReadBig32(data_, at + 8).value_or(0)};
    if (!PartOf(data_, range.offset, range.length)) return std::nullopt;
    return range;
  }
  return std::nullopt;
}

std::optional<std::string_view> AppleDouble::Read(AppleDoubleEntry id) const {
  const std::optional<ByteRange> range = Find(id);
  if (!range) return std::nullopt;
  return data_.substr(range->offset, range->length);
}

std::optional<std::string_view> AppleDouble::FinderInfo() const {
  const std::optional<std::string_view> entry = Read(AppleDoubleEntry::kFinderInfo);
  return entry ? PartOf(*entry, 0, kFinderInfoSize) : std::nullopt;
}

std::optional<int64_t> AppleDouble::CreationSeconds() const {
  const std::optional<std::string_view> dates = Read(AppleDoubleEntry::kFileDates);
  const std::optional<uint32_t> creation = dates ? ReadBig32(*dates, 0) : std::nullopt;
  if (!creation || *creation == kUnknownDate) return std::nullopt;
  return kSecondsTo2000 + static_cast<int32_t>(*creation);
}

std::vector<AppleDoubleAttribute> AppleDouble::Attributes() const {
  const std::optional<ByteRange> entry = Find(AppleDoubleEntry::kFinderInfo);
  if (!entry || entry->length < kAttributesAt + kFirstAttributeAt) return {};
  const std::string_view inside = data_.substr(0, entry->offset + entry->length);
  const size_t start = entry->offset + kAttributesAt;
  if (ReadBig32(inside, start) != kAttributesMagic) return {};
  const size_t count = ReadBig16(inside, start + kAttributeCountAt).value_or(0);
  std::vector<AppleDoubleAttribute> attributes;
  size_t at = start + kFirstAttributeAt;
  for (size_t i = 0; i < count; ++i) {
    const std::optional<AppleDoubleAttribute> attribute = ReadAttribute(inside, at);
    if (!attribute) return {};
    attributes.push_back(*attribute);
    at += kAttributeHeadSize + attribute->name.size() + 1;
    at = (at + 3) & ~size_t{3};
  }
  return attributes;
}

std::string SidecarName(std::string_view name) { return "._" + std::string(name); }

}  // namespace tessary
