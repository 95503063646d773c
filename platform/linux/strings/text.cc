#include "platform/managers/text.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "platform/managers/utf16.h"

namespace tessary {
namespace {

// An ill-formed byte becomes the unit with this value plus the byte.
constexpr char16_t kSurrogateEscapeBase = 0xDC00;

bool IsSurrogate(char32_t codePoint) { return codePoint >= 0xD800 && codePoint <= 0xDFFF; }

// The bits of a machine word that are zero if all its units are ASCII.
constexpr uint64_t NonAsciiBits(char /*unit*/) { return 0x8080808080808080U; }
constexpr uint64_t NonAsciiBits(char16_t /*unit*/) { return 0xFF80FF80FF80FF80U; }

// Returns the number of units before the first that is not ASCII. Tests a word at a time, because
// nearly every name is ASCII only, and a run converts each name several times.
template <typename Unit>
size_t AsciiPrefixLength(std::basic_string_view<Unit> text) {
  constexpr size_t kUnitsPerWord = sizeof(uint64_t) / sizeof(Unit);
  size_t length = 0;
  for (; text.size() - length >= kUnitsPerWord; length += kUnitsPerWord) {
    uint64_t word = 0;
    std::memcpy(&word, text.data() + length, sizeof(word));
    if ((word & NonAsciiBits(Unit())) != 0) break;
  }
  if (length < text.size() && text.size() >= kUnitsPerWord) {
    // Tests the last word of the text, which overlaps the one before, so that the rest of a longer
    // ASCII text is not tested unit by unit.
    uint64_t word = 0;
    std::memcpy(&word, text.data() + text.size() - kUnitsPerWord, sizeof(word));
    if (text.size() - length < kUnitsPerWord && (word & NonAsciiBits(Unit())) == 0) {
      return text.size();
    }
  }
  while (length < text.size() && static_cast<std::make_unsigned_t<Unit>>(text[length]) < 0x80) {
    ++length;
  }
  return length;
}

// Moves the ASCII units at the front of `*text` to the end of `*result`.
template <typename From, typename To>
void MoveAsciiPrefix(std::basic_string_view<From>* text, std::basic_string<To>* result) {
  const size_t ascii = AsciiPrefixLength(*text);
  const size_t length = result->size();
  result->resize(length + ascii);
  std::transform(text->data(), text->data() + ascii, result->data() + length,
                 [](From unit) { return static_cast<To>(unit); });
  text->remove_prefix(ascii);
}

struct Sequence {
  char32_t codePoint = 0;
  size_t length = 0;  // 0 if there is no well-formed sequence
};

// Returns the well-formed sequence at the start of `text`, which is not empty.
Sequence FirstSequence(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {};
  char32_t codePoint = lead & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0U) != 0x80) return {};
    codePoint = codePoint << 6U | (byte & 0x3FU);
  }
  constexpr std::array<char32_t, 5> kSmallestOfLength = {0, 0, 0x80, 0x800, 0x10000};
  if (codePoint < kSmallestOfLength[length]) return {};
  if (codePoint > 0x10FFFF || IsSurrogate(codePoint)) return {};
  return {codePoint, length};
}

// Appends a code point above U+007F.
void AppendUtf8(char32_t codePoint, std::string* text) {
  const auto continuation = [codePoint](unsigned shift) {
    return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
  };
  if (codePoint < 0x800) {
    text->push_back(static_cast<char>(0xC0U | codePoint >> 6U));
    text->push_back(continuation(0));
  } else if (codePoint < 0x10000) {
    text->push_back(static_cast<char>(0xE0U | codePoint >> 12U));
    text->push_back(continuation(6));
    text->push_back(continuation(0));
  } else {
    text->push_back(static_cast<char>(0xF0U | codePoint >> 18U));
    text->push_back(continuation(12));
    text->push_back(continuation(6));
    text->push_back(continuation(0));
  }
}

// Returns the locale C.UTF-8, which knows the letters of all scripts, independent of the user's
// locale; null if it is not installed. Never freed.
locale_t LetterLocale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

char32_t LowerCharacter(char32_t character) {
  if (character < 0x80) {
    const bool isUpper = character >= U'A' && character <= U'Z';
    return isUpper ? character + (U'a' - U'A') : character;
  }
  const locale_t locale = LetterLocale();
  if (locale == nullptr) return character;
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), locale));
}

}  // namespace

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string result;
  // A sequence never becomes more units than it has bytes.
  result.reserve(text.size());
  while (true) {
    MoveAsciiPrefix(&text, &result);
    if (text.empty()) return result;
    const Sequence sequence = FirstSequence(text);
    if (sequence.length == 0) {
      result.push_back(
          static_cast<char16_t>(kSurrogateEscapeBase + static_cast<unsigned char>(text[0])));
      text.remove_prefix(1);
    } else {
      AppendUtf16(sequence.codePoint, &result);
      text.remove_prefix(sequence.length);
    }
  }
}

std::string Utf8FromUtf16(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  while (true) {
    MoveAsciiPrefix(&text, &result);
    if (text.empty()) return result;
    const char16_t unit = text[0];
    text.remove_prefix(1);
    if (IsHighSurrogate(unit) && !text.empty() && IsLowSurrogate(text[0])) {
      AppendUtf8(CombineSurrogates(unit, text[0]), &result);
      text.remove_prefix(1);
    } else if (IsSurrogateEscape(unit)) {
      result.push_back(static_cast<char>(unit - kSurrogateEscapeBase));
    } else {
      AppendUtf8(unit, &result);
    }
  }
}

bool IsUtf8(std::string_view text) {
  while (true) {
    text.remove_prefix(AsciiPrefixLength(text));
    if (text.empty()) return true;
    const size_t length = FirstSequence(text).length;
    if (length == 0) return false;
    text.remove_prefix(length);
  }
}

std::u16string CFStringLowercase(std::u16string_view text) {
  std::u16string lower;
  lower.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      character = CombineSurrogates(text[i], text[i + 1]);
      ++i;
    }
    AppendUtf16(LowerCharacter(character), &lower);
  }
  return lower;
}

}  // namespace tessary
