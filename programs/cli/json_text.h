#pragma once

#include <string>
#include <string_view>

namespace tessary {

// The bytes as a JSON string with its quotes. Bytes that are not UTF-8 are written as the lone
// surrogates \udc80 to \udcff, which several languages turn back into them.
std::string JsonString(std::string_view bytes);

}  // namespace tessary
