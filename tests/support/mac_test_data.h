#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What a Mac writes, put together byte by byte and without the product's help.
namespace tessary::test {

std::string BigEndian16(uint16_t number);
std::string BigEndian32(uint32_t number);

// The bytes of a text of hexadecimal digits, two each.
std::string FromHex(std::string_view digits);

// An extended attribute under the name that it has on a Mac.
struct MacAttribute {
  std::string name;
  std::string value;
};

// The bytes of a "._" file as a Mac lays it out: the Finder information (32 bytes) and the table of
// attributes in one entry, the resource fork in another.
std::string MakeSidecar(const std::string& finderInfo, const std::vector<MacAttribute>& attributes,
                        const std::string& resourceFork);

}  // namespace tessary::test
