#include <locale.h>
#include <wctype.h>

#include "platform/managers/text.h"

namespace tessary {
namespace {

// The locale that every system has and that knows the letters of all scripts, whatever the user's
// own is. Null where it cannot be had. It lives as long as the process.
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

bool IsHighSurrogate(char16_t unit) { return unit >= 0xd800 && unit <= 0xdbff; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xdc00 && unit <= 0xdfff; }

void AppendCharacter(char32_t character, std::u16string* text) {
  if (character < 0x10000) {
    text->push_back(static_cast<char16_t>(character));
    return;
  }
  const char32_t offset = character - 0x10000;
  text->push_back(static_cast<char16_t>(0xd800 + (offset >> 10)));
  text->push_back(static_cast<char16_t>(0xdc00 + (offset & 0x3ff)));
}

}  // namespace

std::u16string CFStringLowercase(std::u16string_view text) {
  std::u16string lower;
  lower.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      character = 0x10000 + ((character - 0xd800) << 10) + (text[i + 1] - 0xdc00U);
      ++i;
    }
    AppendCharacter(LowerCharacter(character), &lower);
  }
  return lower;
}

}  // namespace tessary
