#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// Reads numbers from untrusted bytes, never beyond their end.
namespace tessary {

// Returns the big-endian number of `size` bytes (at most 8) at offset `at`; none if it is not
// inside the data.
inline std::optional<uint64_t> ReadBigEndian(std::string_view bytes, uint64_t at, size_t size) {
  if (size > sizeof(uint64_t) || at > bytes.size() || size > bytes.size() - at) return std::nullopt;
  uint64_t number = 0;
  for (const char byte : bytes.substr(at, size)) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return number;
}

inline std::optional<uint16_t> ReadBig16(std::string_view bytes, uint64_t at) {
  const std::optional<uint64_t> number = ReadBigEndian(bytes, at, sizeof(uint16_t));
  if (!number) return std::nullopt;
  return static_cast<uint16_t>(*number);
}

inline std::optional<uint32_t> ReadBig32(std::string_view bytes, uint64_t at) {
  const std::optional<uint64_t> number = ReadBigEndian(bytes, at, sizeof(uint32_t));
  if (!number) return std::nullopt;
  return static_cast<uint32_t>(*number);
}

// The same for a little-endian number.
inline std::optional<uint64_t> ReadLittleEndian(std::string_view bytes, uint64_t at, size_t size) {
  if (size > sizeof(uint64_t) || at > bytes.size() || size > bytes.size() - at) return std::nullopt;
  uint64_t number = 0;
  for (size_t i = size; i > 0; --i) {
    number = number << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
  }
  return number;
}

// Returns the `size` bytes at offset `at`; none if they are not inside the data.
inline std::optional<std::string_view> PartOf(std::string_view bytes, uint64_t at, uint64_t size) {
  if (at > bytes.size() || size > bytes.size() - at) return std::nullopt;
  return bytes.substr(at, size);
}

}  // namespace tessary
