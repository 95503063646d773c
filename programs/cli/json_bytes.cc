#include "programs/cli/json_bytes.h"

#include <nlohmann/json.hpp>

#include "platform/managers/log.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr char kPercentEncoded[] = "percentEncoded";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// True for what is not encoded. Independent of the locale.
bool IsPlainInPath(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~' || c == '/';
}

std::string PercentEncode(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    if (IsPlainInPath(c)) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', kHexDigits[byte >> 4U], kHexDigits[byte & 0xFU]};
    }
  }
  return text;
}

std::optional<std::string> PercentDecode(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsPlainInPath(text[i])) {
      bytes += text[i];
      continue;
    }
    if (text[i] != '%' || text.size() - i < 3) return std::nullopt;
    const size_t high = kHexDigits.find(text[++i]);
    const size_t low = kHexDigits.find(text[++i]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    bytes += static_cast<char>(high << 4U | low);
  }
  return bytes;
}

}  // namespace

nlohmann::json JsonFromBytes(std::string_view bytes) {
  if (IsUtf8(bytes)) return std::string(bytes);
  return nlohmann::json::object({{kPercentEncoded, PercentEncode(bytes)}});
}

std::optional<std::string> BytesFromJson(const nlohmann::json& json) {
  std::optional<std::string> bytes;
  if (json.is_string()) {
    bytes = json.get<std::string>();
  } else if (json.is_object() && json.size() == 1 && json.contains(kPercentEncoded) &&
             json[kPercentEncoded].is_string()) {
    bytes = PercentDecode(json[kPercentEncoded].get_ref<const std::string&>());
  }
  const bool isValid = bytes && bytes->find('\0') == std::string::npos;
  return isValid ? bytes : std::nullopt;
}

std::string JsonLine(const nlohmann::ordered_json& json) {
  const std::string line = json.dump();
  const bool isSafe = EscapeControlCharacters(line) == line;
  return isSafe ? line : json.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/true);
}

}  // namespace tessary
