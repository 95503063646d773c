#include "platform/linux/catalog/temp_name.h"

namespace tessary {
namespace {

constexpr std::string_view kUuidForm = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";

bool IsUpperHexDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F');
}

}  // namespace

bool IsTempName(std::string_view name) {
  return name.starts_with(kTempPrefix) && IsUuid(name.substr(kTempPrefix.size()));
}

bool IsUuid(std::string_view text) {
  if (text.size() != kUuidForm.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool fits = kUuidForm[i] == '-' ? text[i] == '-' : IsUpperHexDigit(text[i]);
    if (!fits) return false;
  }
  return true;
}

}  // namespace tessary
