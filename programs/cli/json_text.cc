#include "programs/cli/json_text.h"

#include <array>
#include <cstdio>

#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

namespace tessary {
namespace {

std::string Escape(char16_t unit) {
  std::array<char, 8> text = {};
  (void)std::snprintf(text.data(), text.size(), "\\u%04x", unsigned{unit});
  return text.data();
}

// UTF-16 is examined, because lone surrogates need an escape and surrogate pairs do not.
bool NeedsEscape(std::u16string_view text, size_t at) {
  const char16_t unit = text[at];
  if (unit < 0x20 || unit == 0x7F) return true;
  if (IsHighSurrogate(unit)) return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
  return IsLowSurrogate(unit) && (at == 0 || !IsHighSurrogate(text[at - 1]));
}

}  // namespace

std::string JsonString(std::string_view bytes) {
  const std::u16string text = Utf16FromUtf8(bytes);
  std::string json = "\"";
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'"' || text[i] == u'\\') {
      json += {'\\', static_cast<char>(text[i])};
    } else if (NeedsEscape(text, i)) {
      json += Escape(text[i]);
    } else {
      const size_t units = IsHighSurrogate(text[i]) ? 2 : 1;
      json += Utf8FromUtf16(std::u16string_view(text).substr(i, units));
      i += units - 1;
    }
  }
  return json += '"';
}

}  // namespace tessary
