#pragma once

#include <string>

#include "platform/managers/four_char_code.h"

namespace tessary::test {

// The characters of a four-character code, in quotes.
inline std::string FourCharacters(OSType code) {
  std::string text = "'";
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFFU);
  return text + "'";
}

}  // namespace tessary::test
