#pragma once

#include <string>
#include <string_view>

namespace tessary {

// UTF-16 text from UTF-8. Each byte that is not part of a well-formed sequence becomes the lone
// surrogate U+DC00 + byte, so that no text is lost.
std::u16string Utf16FromUtf8(std::string_view text);

// The reverse: U+DC80..U+DCFF that stand alone become the bytes that they came from, and any other
// lone surrogate its three-byte form.
std::string Utf8FromUtf16(std::u16string_view text);

// True when `text` is well-formed UTF-8.
bool IsUtf8(std::string_view text);

// The text in lower case, character by character and the same under every locale; whatever has no
// lower case, lone surrogates among it, stays as it is.
std::u16string CFStringLowercase(std::u16string_view text);

}  // namespace tessary
