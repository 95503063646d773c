#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The AppleDouble format, in which a Mac leaves what a file has besides its contents on a volume
// with no place for it: as a file of its own beside it, "._" before its name, and as some file
// servers keep it in an attribute. Numbers are big-endian.
//
//   at 0   magic 00051607
//   at 4   version 00020000
//   at 24  number of entries, 16 bits
//   at 26  the entries, 12 bytes each: id, offset, length
//
// An entry that does not lie inside the data counts for none, and so does everything where the
// table of entries does not.
namespace tessary {

enum class AppleDoubleEntry : uint32_t {
  kResourceFork = 2,
  kComment = 4,     // bytes of a Mac's character set
  kFileDates = 8,   // four times in seconds since 2000: creation, modification, backup, access
  kFinderInfo = 9,  // 32 bytes, behind which a Mac puts the table of extended attributes
};

// Where a part of the data lies. It has been found to lie inside.
struct ByteRange {
  size_t offset = 0;
  size_t length = 0;
};

// An extended attribute in the table behind the Finder information. The name is of the Mac's, with
// no "user." before it.
struct AppleDoubleAttribute {
  std::string_view name;   // into the data
  std::string_view value;  // into the data
  size_t entryOffset = 0;  // of its entry in the table: 4 bytes of offset, 4 bytes of length
};

// A reading of AppleDouble data, which it refers to and does not keep.
class AppleDouble {
 public:
  // None where the data is not AppleDouble, or ends before its table of entries does. The data may
  // be the beginning of a file of `wholeSize` bytes; what lies further on cannot be read.
  static std::optional<AppleDouble> Parse(std::string_view data);
  static std::optional<AppleDouble> Parse(std::string_view data, uint64_t wholeSize);

  // The entry's place in the whole, and its bytes; the first, where the table has it twice.
  std::optional<ByteRange> Find(AppleDoubleEntry id) const;
  std::optional<std::string_view> Read(AppleDoubleEntry id) const;

  // The 32 bytes of Finder information; none where the entry is shorter.
  std::optional<std::string_view> FinderInfo() const;

  // The creation date in seconds since 1970; none where it is not told.
  std::optional<int64_t> CreationSeconds() const;

  // The table of extended attributes; empty where there is none, or where any of it, values too,
  // does not lie inside the data and the entry of the Finder information.
  std::vector<AppleDoubleAttribute> Attributes() const;

 private:
  AppleDouble(std::string_view data, uint64_t wholeSize, size_t count)
      : data_(data), wholeSize_(wholeSize), count_(count) {}

  std::string_view data_;
  uint64_t wholeSize_;
  size_t count_;
};

// Puts the value in place of the comment or the attribute that is in the data: where it is, or for
// an attribute also in what its table has left free. Nothing else of the data changes, nor its
// size. False, and nothing written, where there is none, where the value does not fit, or where
// parts of the data overlap.
bool ReplaceComment(std::string_view value, std::string* data);
bool ReplaceAttribute(std::string_view name, std::string_view value, std::string* data);

// The name of the sidecar that an item of that name has: "._" and the name.
std::string SidecarName(std::string_view name);

// True for a name that begins with "._" and goes on.
inline bool IsSidecarName(std::string_view name) {
  return name.size() > 2 && name.starts_with("._");
}

}  // namespace tessary
