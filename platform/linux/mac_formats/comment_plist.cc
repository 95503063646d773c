#include "platform/linux/mac_formats/comment_plist.h"

#include <algorithm>
#include <cstdint>

#include "platform/linux/mac_formats/bytes.h"

// A list consists of "bplist00", the objects, a table with the offset of each object, and a trailer
// of 32 bytes:
//   at 6   size of an entry of the table
//   at 7   size of a reference to an object
//   at 8   number of objects, 8 bytes like the next two
//   at 16  index of the root object
//   at 24  offset of the table
// A text begins with a byte: 0x50 (ASCII) or 0x60 (UTF-16, big-endian) plus its length in units. If
// the length is 15 or more, 15 is added instead and a number object with the length follows: a byte
// 0x10 plus n, then the number in 2^n bytes. Then come the units.
namespace tessary {
namespace {

constexpr std::string_view kPlistMagic = "bplist0";
constexpr size_t kHeadSize = 8;
constexpr size_t kTrailerSize = 32;
constexpr unsigned kAscii = 0x5;
constexpr unsigned kUtf16 = 0x6;
constexpr unsigned kNumber = 0x1;
constexpr unsigned kLengthFollows = 0xF;

struct TextHead {
  unsigned kind = 0;
  uint64_t length = 0;  // in units
  size_t size = 0;      // of the head, in bytes: the offset of the first unit
};

std::optional<TextHead> ReadTextHead(std::string_view object) {
  const std::optional<uint64_t> marker = ReadBigEndian(object, 0, 1);
  if (!marker) return std::nullopt;
  TextHead head{static_cast<unsigned>(*marker >> 4), *marker & 0xF, 1};
  if (head.kind != kAscii && head.kind != kUtf16) return std::nullopt;
  if (head.length != kLengthFollows) return head;
  const std::optional<uint64_t> number = ReadBigEndian(object, 1, 1);
  if (!number || *number >> 4 != kNumber || (*number & 0xF) > 3) return std::nullopt;
  const size_t numberSize = size_t{1} << (*number & 0xF);
  const std::optional<uint64_t> length = ReadBigEndian(object, 2, numberSize);
  if (!length) return std::nullopt;
  head.length = *length;
  head.size = 2 + numberSize;
  return head;
}

std::optional<std::u16string> ReadText(std::string_view object) {
  const std::optional<TextHead> head = ReadTextHead(object);
  // Also keeps the product below from overflowing: a hostile length can be 64 bits wide.
  if (!head || head->length > object.size()) return std::nullopt;
  const size_t unitSize = head->kind == kUtf16 ? sizeof(char16_t) : 1;
  const auto units = PartOf(object, head->size, head->length * unitSize);
  if (!units) return std::nullopt;
  std::u16string text;
  text.reserve(head->length);
  for (size_t at = 0; at < units->size(); at += unitSize) {
    const uint64_t unit = ReadBigEndian(*units, at, unitSize).value_or(0);
    if (unitSize == 1 && unit > 0x7F) return std::nullopt;
    text += static_cast<char16_t>(unit);
  }
  return text;
}

std::optional<std::u16string> ReadList(std::string_view list) {
  if (!list.starts_with(kPlistMagic) || list.size() < kHeadSize + kTrailerSize) return std::nullopt;
  const std::string_view trailer = list.substr(list.size() - kTrailerSize);
  const std::string_view body = list.substr(0, list.size() - kTrailerSize);
  const uint64_t entrySize = ReadBigEndian(trailer, 6, 1).value_or(0);
  const uint64_t count = ReadBigEndian(trailer, 8, 8).value_or(0);
  const uint64_t top = ReadBigEndian(trailer, 16, 8).value_or(0);
  const uint64_t tableAt = ReadBigEndian(trailer, 24, 8).value_or(0);
  if (entrySize == 0 || entrySize > sizeof(uint64_t) || top >= count) return std::nullopt;
  if (tableAt < kHeadSize || tableAt > body.size()) return std::nullopt;
  const std::string_view table = body.substr(tableAt);
  // Divided instead of multiplied, because the product of two numbers from the file could overflow.
  if (top >= table.size() / entrySize) return std::nullopt;
  const std::optional<uint64_t> objectAt = ReadBigEndian(table, top * entrySize, entrySize);
  if (!objectAt || *objectAt < kHeadSize || *objectAt >= tableAt) return std::nullopt;
  return ReadText(body.substr(*objectAt, tableAt - *objectAt));
}

std::string BigEndianBytes(uint64_t number, size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = size; i > 0; --i) {
    bytes[i - 1] = static_cast<char>(number & 0xFF);
    number >>= 8;
  }
  return bytes;
}

// Returns the smallest n for which the number fits in 2^n bytes; at most 3.
unsigned PowerFor(uint64_t number) {
  unsigned power = 0;
  while (power < 3 && number >> (8U << power) != 0) ++power;
  return power;
}

std::string WriteLength(unsigned kind, uint64_t length) {
  if (length < kLengthFollows) return BigEndianBytes(kind << 4 | length, 1);
  const unsigned power = PowerFor(length);
  return BigEndianBytes(kind << 4 | kLengthFollows, 1) + BigEndianBytes(kNumber << 4 | power, 1) +
         BigEndianBytes(length, size_t{1} << power);
}

}  // namespace

std::optional<std::u16string> ReadCommentPlist(std::string_view value) {
  // First as it stands: a zero at the end may belong to the list's last number. Only then is it
  // taken for the one that Samba appends.
  std::optional<std::u16string> text = ReadList(value);
  if (text || !value.ends_with('\0')) return text;
  return ReadList(value.substr(0, value.size() - 1));
}

std::string WriteCommentPlist(std::u16string_view text) {
  const bool isAscii = std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
  std::string list = "bplist00" + WriteLength(isAscii ? kAscii : kUtf16, text.size());
  for (const char16_t unit : text) list += BigEndianBytes(unit, isAscii ? 1 : sizeof(char16_t));
  // A Mac requires entries that are wide enough for the offset of the table itself.
  const size_t tableAt = list.size();
  const size_t entrySize = size_t{1} << PowerFor(tableAt);
  list += BigEndianBytes(kHeadSize, entrySize);
  list += std::string(6, '\0') + BigEndianBytes(entrySize, 1) + BigEndianBytes(1, 1);
  return list + BigEndianBytes(1, 8) + BigEndianBytes(0, 8) + BigEndianBytes(tableAt, 8);
}

}  // namespace tessary
