#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The forms in which extended attributes store Finder information. Malformed data reads as none. So
// does information that is all zero: file servers write it for every file, and it must not hide
// another form that holds something.
namespace tessary {

// Type at 0, creator at 4, flags at 8, location at 10, the extended information at 16; big-endian.
using FinderBytes = std::array<unsigned char, 32>;

struct FinderInfoForm {
  const char* attribute;
  std::optional<FinderBytes> (*read)(std::string_view value);
};

// The value is exactly the 32 bytes.
std::optional<FinderBytes> ReadRawFinderInfo(std::string_view value);

// AppleDouble data. `data` may be only the beginning of a sidecar of `wholeSize` bytes.
std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view value);
std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view data, uint64_t wholeSize);

// "AFP\0", with the 32 bytes at offset 16.
std::optional<FinderBytes> ReadAfpInfo(std::string_view value);

// In order of precedence.
inline constexpr std::array<FinderInfoForm, 4> kFinderInfoForms = {{
    {"osx.com.apple.FinderInfo", ReadRawFinderInfo},            // HFS+, by the kernel's driver
    {"user.com.apple.FinderInfo", ReadRawFinderInfo},           // copied by rsync -X and others
    {"user.org.netatalk.Metadata", ReadAppleDoubleFinderInfo},  // netatalk, Samba
    {"user.DosStream.AFP_AfpInfo:$DATA", ReadAfpInfo},          // Samba, if it stores streams
}};

// HFS, by the kernel's driver; comes after the forms above. 4 bytes each, no flags.
inline constexpr char kHfsTypeAttribute[] = "hfs.type";
inline constexpr char kHfsCreatorAttribute[] = "hfs.creator";
std::optional<FinderBytes> ReadHfsTypeAndCreator(std::string_view type, std::string_view creator);

// An attribute whose name begins with "user.", which every filesystem with user attributes accepts.
struct PortableAttribute {
  std::string name;
  std::string value;
};

// Converts an attribute that exists only on HFS+ and HFS to one for other filesystems: "osx."
// becomes "user."; "hfs.type" becomes the Finder information of that type and `hfsCreator`. None
// for any other attribute, and for a malformed type or creator.
std::optional<PortableAttribute> MakePortable(std::string_view name, std::string_view value,
                                              std::string_view hfsCreator);

}  // namespace tessary
