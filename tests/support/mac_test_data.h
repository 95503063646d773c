#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Data as a Mac writes it, built without the code under test.
namespace tessary::test {

std::string BigEndian16(uint16_t number);
std::string BigEndian32(uint32_t number);

// The bytes that the hexadecimal digits stand for.
std::string FromHex(std::string_view digits);

// An extended attribute, with its name on a Mac.
struct MacAttribute {
  std::string name;
  std::string value;
};

// A "._" file in the layout of a Mac: one entry with the Finder information (32 bytes) and the
// attributes, one with the resource fork.
std::string MakeSidecar(const std::string& finderInfo, const std::vector<MacAttribute>& attributes,
                        const std::string& resourceFork);

// The path of the sidecar of the item at the path.
std::string SidecarPath(const std::string& path);

}  // namespace tessary::test
