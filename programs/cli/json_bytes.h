#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

// The form of texts in the programs' JSON. JSON holds UTF-8 only, and a path or name holds any
// bytes except zero bytes.
namespace tessary {

// Returns the bytes as a string if they are valid UTF-8. Otherwise returns an object such as
// {"percentEncoded": "/a/caf%E9"}, in which every byte is percent-encoded except "/" and the
// unreserved characters of RFC 3986: letters, digits, "-", ".", "_" and "~".
nlohmann::json JsonFromBytes(std::string_view bytes);

// Returns the bytes that JsonFromBytes was called with. Returns none if the value has neither of
// the two forms, or contains a zero byte.
std::optional<std::string> BytesFromJson(const nlohmann::json& json);

// Returns the value on one line, without a newline. If it contains characters that could make a
// terminal show another text (EscapeControlCharacters), all characters that are not ASCII are
// escaped as in "\u202e".
std::string JsonLine(const nlohmann::ordered_json& json);

}  // namespace tessary
