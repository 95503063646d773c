#include "platform/managers/uuid.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>

namespace tessary {
namespace {

using UuidBytes = std::array<unsigned char, 16>;

// getrandom may return fewer bytes than requested, or be interrupted by a signal.
bool FillWithRandomness(UuidBytes* bytes) {
  size_t filled = 0;
  while (filled < bytes->size()) {
    const ssize_t count = getrandom(bytes->data() + filled, bytes->size() - filled, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    filled += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace

std::optional<std::string> CFUUIDCreateString() {
  UuidBytes bytes = {};
  if (!FillWithRandomness(&bytes)) return std::nullopt;
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);  // the variant of RFC 4122

  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kDigits[bytes[i] >> 4U]);
    text.push_back(kDigits[bytes[i] & 0x0FU]);
  }
  return text;
}

}  // namespace tessary
