#include "tests/support/mac_test_data.h"

#include <filesystem>

namespace tessary::test {
namespace {

constexpr uint32_t kFinderEntryAt = 50;
constexpr uint32_t kTableAt = kFinderEntryAt + 32 + 2;
constexpr uint32_t kFirstAttributeAt = kTableAt + 36;

uint32_t SizeOf(const std::string& text) { return static_cast<uint32_t>(text.size()); }

}  // namespace

std::string BigEndian16(uint16_t number) {
  return {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
}

std::string BigEndian32(uint32_t number) {
  return BigEndian16(static_cast<uint16_t>(number >> 16)) +
         BigEndian16(static_cast<uint16_t>(number & 0xFFFF));
}

std::string FromHex(std::string_view digits) {
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

std::string MakeSidecar(const std::string& finderInfo, const std::vector<MacAttribute>& attributes,
                        const std::string& resourceFork) {
  uint32_t valuesAt = kFirstAttributeAt;
  for (const MacAttribute& attribute : attributes) {
    valuesAt += (11 + SizeOf(attribute.name) + 1 + 3) / 4 * 4;
  }
  std::string entries;
  std::string values;
  for (const MacAttribute& attribute : attributes) {
    entries += BigEndian32(valuesAt + SizeOf(values)) + BigEndian32(SizeOf(attribute.value)) +
               BigEndian16(0);
    entries += static_cast<char>(attribute.name.size() + 1);
    entries += attribute.name + '\0';
    while ((kFirstAttributeAt + entries.size()) % 4 != 0) entries += '\0';
    values += attribute.value;
  }
  // A Mac reserves space after the values.
  const uint32_t forkAt = valuesAt + SizeOf(values) + 64;
  std::string bytes =
      BigEndian32(0x00051607) + BigEndian32(0x00020000) + "Mac OS X        " + BigEndian16(2);
  bytes += BigEndian32(9) + BigEndian32(kFinderEntryAt) + BigEndian32(forkAt - kFinderEntryAt);
  bytes += BigEndian32(2) + BigEndian32(forkAt) + BigEndian32(SizeOf(resourceFork));
  bytes += finderInfo + std::string(2, '\0');
  bytes += "ATTR" + BigEndian32(0) + BigEndian32(forkAt) + BigEndian32(valuesAt) +
           BigEndian32(SizeOf(values));
  bytes += std::string(12, '\0') + BigEndian16(0) +
           BigEndian16(static_cast<uint16_t>(attributes.size()));
  bytes += entries + values;
  bytes.resize(forkAt, '\0');
  return bytes + resourceFork;
}

std::string SidecarPath(const std::string& path) {
  const std::filesystem::path item(path);
  return item.parent_path() / ("._" + item.filename().string());
}

}  // namespace tessary::test
