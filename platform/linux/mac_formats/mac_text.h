#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessary {

// Converts the bytes of a text in AppleDouble data. They are UTF-8 if they are well-formed UTF-8,
// otherwise Mac OS Roman, the character set of Western Macs: the format does not say which.
std::u16string ReadMacText(std::string_view bytes);

// Converts a text to Mac OS Roman; none if a character is missing there, or if ReadMacText would
// read the result as UTF-8.
std::optional<std::string> WriteMacText(std::u16string_view text);

}  // namespace tessary
