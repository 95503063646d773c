#include "tests/support/mac_bytes.h"

namespace tessary::testing {
namespace {

constexpr uint32_t kFinderEntryAt = 50;
constexpr uint32_t kTableAt = kFinderEntryAt + 32 + 2;
constexpr uint32_t kFirstAttributeAt = kTableAt + 36;

uint32_t SizeOf(const std::string& text) { return static_cast<uint32_t>(text.size()); }

}  // namespace

std::string Big16(uint16_t number) {
  return {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
}

std::string Big32(uint32_t number) {
  return Big16(static_cast<uint16_t>(number >> 16)) + Big16(static_cast<uint16_t>(number & 0xFFFF));
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
    entries += Big32(valuesAt + SizeOf(values)) + Big32(SizeOf(attribute.value)) + Big16(0);
    entries += static_cast<char>(attribute.name.size() + 1);
    entries += attribute.name + '\0';
    while ((kFirstAttributeAt + entries.size()) % 4 != 0) entries += '\0';
    values += attribute.value;
  }
  // A Mac leaves room behind the values for more of them.
  const uint32_t forkAt = valuesAt + SizeOf(values) + 64;
  std::string bytes = Big32(0x00051607) + Big32(0x00020000) + "Mac OS X        " + Big16(2);
  bytes += Big32(9) + Big32(kFinderEntryAt) + Big32(forkAt - kFinderEntryAt);
  bytes += Big32(2) + Big32(forkAt) + Big32(SizeOf(resourceFork));
  bytes += finderInfo + std::string(2, '\0');
  bytes += "ATTR" + Big32(0) + Big32(forkAt) + Big32(valuesAt) + Big32(SizeOf(values));
  bytes += std::string(12, '\0') + Big16(0) + Big16(static_cast<uint16_t>(attributes.size()));
  bytes += entries + values;
  bytes.resize(forkAt, '\0');
  return bytes + resourceFork;
}

}  // namespace tessary::testing
