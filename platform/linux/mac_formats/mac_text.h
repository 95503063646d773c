#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessary {

// The text of bytes in which AppleDouble data holds it: UTF-8 where they are that, else Mac OS
// Roman, the character set of Western Macs.
std::u16string ReadMacText(std::string_view bytes);

// The same text as such bytes; none where Mac OS Roman does not have it all.
std::optional<std::string> WriteMacText(std::u16string_view text);

}  // namespace tessary
