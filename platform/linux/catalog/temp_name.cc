#include "platform/linux/catalog/temp_name.h"

namespace tessary {
namespace {

constexpr std::string_view kUuidForm = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";

bool IsUpperHexDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F');
}

}  // namespace

bool IsTempName(std::string_view name) {
  if (!name.starts_with(kTempPrefix)) return false;
  name.remove_prefix(kTempPrefix.size());
  if (name.size() != kUuidForm.size()) return false;
  for (size_t i = 0; i < name.size(); ++i) {
    const bool fits = kUuidForm[i] == '-' ? name[i] == '-' : IsUpperHexDigit(name[i]);
    if (!fits) return false;
  }
  return true;
}

}  // namespace tessary
