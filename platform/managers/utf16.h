#pragma once

#include <string>

// The units of UTF-16. Of two surrogates, a high one and a low one, every code point beyond the
// first 65,536 is made; a low one by itself can carry a byte that is no UTF-8.
namespace tessary {

constexpr bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Bytes below 0x80 are always UTF-8 and never carried.
constexpr bool IsSurrogateEscape(char16_t unit) { return unit >= 0xDC80 && unit <= 0xDCFF; }

// The code point that a high and a low surrogate make.
constexpr char32_t CombineSurrogates(char16_t high, char16_t low) {
  return 0x10000U + ((high - 0xD800U) << 10U) + (low - 0xDC00U);
}

// Appends a code point of at most 0x10FFFF.
inline void AppendUtf16(char32_t codePoint, std::u16string* text) {
  if (codePoint < 0x10000) {
    text->push_back(static_cast<char16_t>(codePoint));
    return;
  }
  const char32_t offset = codePoint - 0x10000;
  text->push_back(static_cast<char16_t>(0xD800U + (offset >> 10U)));
  text->push_back(static_cast<char16_t>(0xDC00U + (offset & 0x3FFU)));
}

}  // namespace tessary
