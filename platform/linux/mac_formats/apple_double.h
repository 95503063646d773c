#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The AppleDouble format, in which a Mac stores the metadata of a file on a filesystem that has no
// other place for it: in a sidecar beside the file, named "._" and the file's name. Some file
// servers store the same format in an attribute. Numbers are big-endian.
//
//   at 0   magic 00051607
//   at 4   version 00020000
//   at 24  number of entries, 16 bits
//   at 26  the entries, 12 bytes each: id, offset, length
//
// An entry that is not inside the data is ignored; if the table of entries is not inside the data,
// the data is not AppleDouble.
namespace tessary {

enum class AppleDoubleEntry : uint32_t {
  kResourceFork = 2,
  kComment = 4,     // see mac_text.h for the character set
  kFileDates = 8,   // four times in seconds since 2000: creation, modification, backup, access
  kFinderInfo = 9,  // 32 bytes, followed by a Mac's table of extended attributes
};

// A part of the data. It has been checked to lie inside the data.
struct ByteRange {
  size_t offset = 0;
  size_t length = 0;
};

// An extended attribute in the table after the Finder information. Its name is the one on a Mac,
// without "user.".
struct AppleDoubleAttribute {
  std::string_view name;   // points into the data
  std::string_view value;  // points into the data
  size_t entryOffset = 0;  // of its entry in the table: 4 bytes of offset, 4 bytes of length
};

// A view of AppleDouble data. The caller keeps the data alive.
class AppleDouble {
 public:
  // None if the data is not AppleDouble, or ends before its table of entries does. The data may be
  // only the beginning of a file of `wholeSize` bytes; entries after it are found but not read.
  static std::optional<AppleDouble> Parse(std::string_view data);
  static std::optional<AppleDouble> Parse(std::string_view data, uint64_t wholeSize);

  // Return the entry's position in the whole file, and its bytes; none if there is no such entry,
  // or its bytes are not in the data. If the table has the entry twice, the first counts.
  std::optional<ByteRange> Find(AppleDoubleEntry id) const;
  std::optional<std::string_view> Read(AppleDoubleEntry id) const;

  // Returns the 32 bytes of Finder information; none if the entry is missing or shorter.
  std::optional<std::string_view> FinderInfo() const;

  // Returns the creation date in seconds since 1970; none if it is missing or marked as unknown.
  std::optional<int64_t> CreationSeconds() const;

  // Returns the table of extended attributes. Empty if there is none, or if any part of it,
  // including the values, is not inside the data and the entry of the Finder information.
  std::vector<AppleDoubleAttribute> Attributes() const;

 private:
  AppleDouble(std::string_view data, uint64_t wholeSize, size_t count)
      : data_(data), wholeSize_(wholeSize), count_(count) {}

  std::string_view data_;
  uint64_t wholeSize_;
  size_t count_;
};

// Replace the comment, or the value of an attribute, that the data contains: in place, or for an
// attribute also in the free space of its table. Nothing else in the data changes, and its size
// stays the same. Return false, and write nothing, if the data has no such comment or attribute, if
// the value does not fit, or if parts of the data overlap.
bool ReplaceComment(std::string_view value, std::string* data);
bool ReplaceAttribute(std::string_view name, std::string_view value, std::string* data);

// Returns the name of an item's sidecar: "._" and the item's name.
std::string SidecarName(std::string_view name);

// True for "._" followed by at least one character.
inline bool IsSidecarName(std::string_view name) {
  return name.size() > 2 && name.starts_with("._");
}

}  // namespace tessary
