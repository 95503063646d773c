#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The forms in which extended attributes hold Finder information. Malformed data is none, and so is
// information that is all zero: a Mac keeps none of it, and the file servers lay out an empty one
// with every file.
namespace tessary {

// Type at 0, creator at 4, flags at 8, location at 10, the extended information at 16; big-endian.
using FinderBytes = std::array<unsigned char, 32>;

struct FinderInfoForm {
  const char* attribute;
  std::optional<FinderBytes> (*read)(std::string_view value);
};

// The attribute's value is the information itself, and no longer.
std::optional<FinderBytes> ReadRawFinderInfo(std::string_view value);
// AppleDouble data; of a sidecar it may be the beginning of so many bytes.
std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view value);
std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view data, uint64_t wholeSize);
// "AFP\0", and the information at 16.
std::optional<FinderBytes> ReadAfpInfo(std::string_view value);

// The one that counts first stands first.
inline constexpr std::array<FinderInfoForm, 4> kFinderInfoForms = {{
    {"osx.com.apple.FinderInfo", ReadRawFinderInfo},            // what the kernel shows of HFS+
    {"user.com.apple.FinderInfo", ReadRawFinderInfo},           // what rsync -X and others copy
    {"user.org.netatalk.Metadata", ReadAppleDoubleFinderInfo},  // file servers for Macs
    {"user.DosStream.AFP_AfpInfo:$DATA", ReadAfpInfo},          // Samba, where it keeps streams
}};

// What the kernel shows of HFS, behind the forms above: 4 bytes each, no flags.
inline constexpr char kHfsTypeAttribute[] = "hfs.type";
inline constexpr char kHfsCreatorAttribute[] = "hfs.creator";
std::optional<FinderBytes> ReadHfsTypeAndCreator(std::string_view type, std::string_view creator);

// An attribute under a name that any volume takes which has attributes of users.
struct PortableAttribute {
  std::string name;
  std::string value;
};

// What stands elsewhere for an attribute that only the kernel's HFS+ and HFS show: "user." in place
// of "osx.", and for the type, given the creator, the Finder information of both. None for any
// other attribute.
std::optional<PortableAttribute> MakePortable(std::string_view name, std::string_view value,
                                              std::string_view hfsCreator);

}  // namespace tessary
