#pragma once

#include <string>

// UTF-16 code units. A high and a low surrogate form a code point above U+FFFF. A lone low
// surrogate can stand for a byte that is not UTF-8 (a surrogate escape).
namespace tessary {

constexpr bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// True for a unit that stands for a byte, if it is alone. Bytes below 0x80 are always valid UTF-8
// and are never escaped.
constexpr bool IsSurrogateEscape(char16_t unit) { return unit >= 0xDC80 && unit <= 0xDCFF; }

// Returns the code point that a high and a low surrogate form.
constexpr char32_t CombineSurrogates(char16_t high, char16_t low) {
  return 0x10000U + ((high - 0xD800U) << 10U) + (low - 0xDC00U);
}

// Appends a code point, at most U+10FFFF.
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
