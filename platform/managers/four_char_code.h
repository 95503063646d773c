#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tessary {

using OSType = uint32_t;  // a four-character code; the first character is the most significant byte

// Returns the code of the first four characters of `text`. A shorter text is padded with spaces;
// the empty text gives 0.
constexpr OSType PaddedFourCharCode(std::string_view text) {
  OSType code = 0;
  for (size_t i = 0; i < 4 && !text.empty(); ++i) {
    code = code << 8U | static_cast<unsigned char>(i < text.size() ? text[i] : ' ');
  }
  return code;
}

// Returns the code of exactly four characters: FourCharCode("cmds") is 'cmds'.
consteval OSType FourCharCode(const char (&text)[5]) { return PaddedFourCharCode({text, 4}); }

}  // namespace tessary
