#pragma once

#include <cstdint>

namespace tessary {

using OSType = uint32_t;  // a four-character code, the first character the most significant

// The code of four characters: FourCharCode("cmds") is 'cmds'.
consteval OSType FourCharCode(const char (&text)[5]) {
  OSType code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8U | static_cast<unsigned char>(text[i]);
  return code;
}

}  // namespace tessary
