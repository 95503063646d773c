#include <locale.h>
#include <wctype.h>

#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

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

}  // namespace

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
