#include "platform/linux/mac_formats/apple_double.h"

#include <algorithm>

#include "platform/linux/mac_formats/bytes.h"

namespace tessary {
namespace {

constexpr uint32_t kAppleDoubleMagic = 0x00051607;
constexpr uint32_t kVersion = 0x00020000;
constexpr size_t kCountAt = 24;
constexpr size_t kTableAt = 26;
constexpr size_t kEntrySize = 12;
constexpr size_t kFinderInfoSize = 32;

// Macs and file servers write this for an unknown date.
constexpr uint32_t kUnknownDate = 0x80000000;
constexpr int64_t kSecondsTo2000 = 946'684'800;

// The table of attributes: two bytes of padding after the Finder information, then
//   at 0   magic "ATTR"
//   at 8   offset in the data of the end of the table and its values
//   at 12  offset in the data of the first value
//   at 16  number of bytes that the values occupy
//   at 34  number of attributes, 16 bits
//   at 36  the attributes, each at a multiple of 4 in the data: offset, length, 16 bits of flags,
//          8 bits for the length of the name with its zero, the name
constexpr uint32_t kAttributesMagic = 0x41545452;
constexpr size_t kAttributesAt = kFinderInfoSize + 2;
constexpr size_t kAttributesEndAt = 8;
constexpr size_t kValuesAt = 12;
constexpr size_t kValuesLengthAt = 16;
constexpr size_t kAttributeCountAt = 34;
constexpr size_t kFirstAttributeAt = 36;
constexpr size_t kAttributeHeadSize = 11;

std::optional<AppleDoubleAttribute> ReadAttribute(std::string_view data, size_t at) {
  const std::optional<uint32_t> offset = ReadBig32(data, at);
  const std::optional<uint32_t> length = ReadBig32(data, at + 4);
  const std::optional<uint64_t> nameSize = ReadBigEndian(data, at + 10, 1);
  if (!offset || !length || !nameSize || *nameSize < 2) return std::nullopt;
  // A value before its table would lie in another part of the data, and writing one would change
  // the other.
  if (*offset < at) return std::nullopt;
  const auto name = PartOf(data, at + kAttributeHeadSize, *nameSize);
  const auto value = PartOf(data, *offset, *length);
  // The only zero in the name is at its end.
  if (!name || !value || name->find('\0') != name->size() - 1) return std::nullopt;
  return AppleDoubleAttribute{name->substr(0, name->size() - 1), *value, at};
}

void WriteBig32(size_t number, size_t at, std::string* data) {
  for (size_t i = 0; i < sizeof(uint32_t); ++i) {
    (*data)[at + i] = static_cast<char>(number >> (24 - 8 * i) & 0xFF);
  }
}

size_t EndOf(const ByteRange& range) { return range.offset + range.length; }

ByteRange RangeOf(std::string_view value, std::string_view data) {
  return {static_cast<size_t>(value.data() - data.data()), value.size()};
}

// Writes the value at the start of a range of the data, and zeros over the rest of the range.
void Fill(const ByteRange& range, std::string_view value, std::string* data) {
  std::string bytes(value);
  bytes.resize(range.length, '\0');
  data->replace(range.offset, range.length, bytes);
}

// False if entries overlap each other or their table. Writing into one would then change another.
bool AreEntriesDisjoint(std::string_view data) {
  const size_t tableEnd = kTableAt + ReadBig16(data, kCountAt).value_or(0) * kEntrySize;
  std::vector<ByteRange> ranges = {{0, tableEnd}};
  for (size_t at = kTableAt; at < tableEnd; at += kEntrySize) {
    const ByteRange range{ReadBig32(data, at + 4).value_or(0), ReadBig32(data, at + 8).value_or(0)};
    if (range.length > 0) ranges.push_back(range);
  }
  std::ranges::sort(ranges, {}, &ByteRange::offset);
  const auto overlap = [](const ByteRange& range, const ByteRange& next) {
    return next.offset < EndOf(range);
  };
  return std::ranges::adjacent_find(ranges, overlap) == ranges.end();
}

// The part of the data in which the values of attributes lie, as offsets in the data.
struct ValueArea {
  size_t lengthAt = 0;  // of the field that holds the size of the used part
  size_t begin = 0;
  size_t end = 0;    // end of the used part
  size_t limit = 0;  // end of the part that values may use
};

std::optional<ValueArea> FindValueArea(const AppleDouble& parsed, std::string_view data) {
  const std::optional<ByteRange> entry = parsed.Find(AppleDoubleEntry::kFinderInfo);
  if (!entry) return std::nullopt;
  const size_t start = entry->offset + kAttributesAt;
  const size_t begin = ReadBig32(data, start + kValuesAt).value_or(0);
  const size_t length = ReadBig32(data, start + kValuesLengthAt).value_or(0);
  const size_t end = ReadBig32(data, start + kAttributesEndAt).value_or(0);
  const size_t limit = std::min({end, EndOf(*entry), data.size()});
  return ValueArea{start + kValuesLengthAt, begin, begin + length, limit};
}

// False if values lie outside the area, or if two overlap.
bool AreValuesDisjoint(std::vector<AppleDoubleAttribute> attributes, const ValueArea& area,
                       std::string_view data) {
  std::ranges::sort(attributes, {}, [](const auto& attribute) { return attribute.value.data(); });
  size_t usedEnd = area.begin;
  for (const AppleDoubleAttribute& attribute : attributes) {
    const ByteRange range = RangeOf(attribute.value, data);
    const size_t entryEnd = attribute.entryOffset + kAttributeHeadSize + attribute.name.size() + 1;
    if (range.offset < usedEnd || entryEnd > area.begin) return false;
    usedEnd = EndOf(range);
  }
  return usedEnd <= area.end && area.end <= area.limit;
}

}  // namespace

std::optional<AppleDouble> AppleDouble::Parse(std::string_view data) {
  return Parse(data, data.size());
}

std::optional<AppleDouble> AppleDouble::Parse(std::string_view data, uint64_t wholeSize) {
  if (ReadBig32(data, 0) != kAppleDoubleMagic || ReadBig32(data, 4) != kVersion)
    return std::nullopt;
  const std::optional<uint16_t> count = ReadBig16(data, kCountAt);
  if (!count || !PartOf(data, kTableAt, *count * kEntrySize)) return std::nullopt;
  return AppleDouble(data, wholeSize, *count);
}

std::optional<ByteRange> AppleDouble::Find(AppleDoubleEntry id) const {
  for (size_t i = 0; i < count_; ++i) {
    const size_t at = kTableAt + i * kEntrySize;
    if (ReadBig32(data_, at) != static_cast<uint32_t>(id)) continue;
    const ByteRange range{ReadBig32(data_, at + 4).value_or(0),
                          ReadBig32(data_, at + 8).value_or(0)};
    const bool isInside = range.offset <= wholeSize_ && range.length <= wholeSize_ - range.offset;
    return isInside ? std::optional(range) : std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::string_view> AppleDouble::Read(AppleDoubleEntry id) const {
  const std::optional<ByteRange> range = Find(id);
  return range ? PartOf(data_, range->offset, range->length) : std::nullopt;
}

std::optional<std::string_view> AppleDouble::FinderInfo() const {
  const std::optional<ByteRange> entry = Find(AppleDoubleEntry::kFinderInfo);
  if (!entry || entry->length < kFinderInfoSize) return std::nullopt;
  return PartOf(data_, entry->offset, kFinderInfoSize);
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
    // One malformed attribute makes all offsets after it doubtful, so that none is returned then.
    const std::optional<AppleDoubleAttribute> attribute = ReadAttribute(inside, at);
    if (!attribute) return {};
    attributes.push_back(*attribute);
    at += kAttributeHeadSize + attribute->name.size() + 1;
    at = (at + 3) & ~size_t{3};
  }
  return attributes;
}

bool ReplaceComment(std::string_view value, std::string* data) {
  const std::optional<AppleDouble> parsed = AppleDouble::Parse(*data);
  const std::optional<ByteRange> range =
      parsed ? parsed->Find(AppleDoubleEntry::kComment) : std::nullopt;
  if (!range || !AreEntriesDisjoint(*data)) return false;
  // The comment may grow up to the next entry, or to the end of the data: netatalk reserves space
  // after it.
  ByteRange room{range->offset, data->size() - range->offset};
  size_t lengthAt = 0;
  const size_t count = ReadBig16(*data, kCountAt).value_or(0);
  for (size_t at = kTableAt; at < kTableAt + count * kEntrySize; at += kEntrySize) {
    const size_t offset = ReadBig32(*data, at + 4).value_or(0);
    // Only the first entry with the comment's number is the comment, as Find() reads it. A second
    // one is data like any other, and limits the space.
    const bool isComment =
        ReadBig32(*data, at) == static_cast<uint32_t>(AppleDoubleEntry::kComment);
    if (isComment && lengthAt == 0) {
      lengthAt = at + 8;
    } else if (EndOf({offset, ReadBig32(*data, at + 8).value_or(0)}) > room.offset) {
      room.length = std::min(room.length, offset - std::min(offset, room.offset));
    }
  }
  const bool isBehindTable = room.offset >= kTableAt + count * kEntrySize;
  if (!isBehindTable || room.length < std::max(range->length, value.size())) return false;
  // The rest of a longer old text is zeroed, so that it does not stay in the file.
  Fill({room.offset, std::max(range->length, value.size())}, value, data);
  WriteBig32(value.size(), lengthAt, data);
  return true;
}

bool ReplaceAttribute(std::string_view name, std::string_view value, std::string* data) {
  const std::optional<AppleDouble> parsed = AppleDouble::Parse(*data);
  if (!parsed || !AreEntriesDisjoint(*data)) return false;
  const std::vector<AppleDoubleAttribute> attributes = parsed->Attributes();
  const auto found = std::ranges::find(attributes, name, &AppleDoubleAttribute::name);
  const std::optional<ValueArea> area = FindValueArea(*parsed, *data);
  if (found == attributes.end() || !area || !AreValuesDisjoint(attributes, *area, *data))
    return false;
  ByteRange range = RangeOf(found->value, *data);
  // The value may grow up to the next one. If that is too little, it moves to the free space after
  // the last value, and its old bytes stay unused.
  size_t limit = area->limit;
  for (const AppleDoubleAttribute& other : attributes) {
    const size_t offset = RangeOf(other.value, *data).offset;
    if (offset > range.offset) limit = std::min(limit, offset);
  }
  if (value.size() > limit - range.offset) {
    if (value.size() > area->limit - area->end) return false;
    range = {area->end, 0};
  }
  // `found` and its value point into the data, which Fill changes. Only offsets are used from here
  // on.
  const size_t entryOffset = found->entryOffset;
  Fill({range.offset, std::max(range.length, value.size())}, value, data);
  WriteBig32(range.offset, entryOffset, data);
  WriteBig32(value.size(), entryOffset + 4, data);
  WriteBig32(std::max(area->end, range.offset + value.size()) - area->begin, area->lengthAt, data);
  return true;
}

std::string SidecarName(std::string_view name) { return "._" + std::string(name); }

}  // namespace tessary
