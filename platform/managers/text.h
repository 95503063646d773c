#pragma once

#include <string>
#include <string_view>

namespace tessary {

// Converts UTF-8 to UTF-16. Each byte that is not part of a well-formed sequence becomes the lone
// surrogate U+DC00 + byte, so that Utf8FromUtf16 restores every byte string.
std::u16string Utf16FromUtf8(std::string_view text);

// Converts UTF-16 to UTF-8. A lone surrogate U+DC80..U+DCFF becomes the byte that it stands for;
// any other lone surrogate becomes its three-byte form.
std::string Utf8FromUtf16(std::u16string_view text);

// Returns true if `text` is well-formed UTF-8.
bool IsUtf8(std::string_view text);

// Converts each character to lower case, independent of the locale. Characters without a lower case
// and lone surrogates are unchanged.
std::u16string CFStringLowercase(std::u16string_view text);

}  // namespace tessary
