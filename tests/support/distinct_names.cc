#include "tests/support/distinct_names.h"

#include <string_view>

namespace tessary::test {
namespace {

constexpr std::string_view kForm = " - 00000000-0000-0000-0000-000000000000";

// Removes " - UUID" from the end of the text. Returns false if the text does not end so.
bool RemoveUuid(std::string* text) {
  if (text->size() < kForm.size()) return false;
  const std::string_view end = std::string_view(*text).substr(text->size() - kForm.size());
  for (size_t i = 0; i < kForm.size(); ++i) {
    const bool isDigit = (end[i] >= '0' && end[i] <= '9') || (end[i] >= 'A' && end[i] <= 'F');
    if (kForm[i] == '0' ? !isDigit : end[i] != kForm[i]) return false;
  }
  text->resize(text->size() - kForm.size());
  return true;
}

}  // namespace

bool IsSameOrDistinctName(std::string name, const std::string& original) {
  const size_t dot = original.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : original.substr(dot);
  // The catalog's form of a name has "/" instead of ":". An extension with a ":" is therefore not
  // found in the name: it is appended after the UUID but not removed before it.
  const bool isRemoved = extension.find(':') == std::string::npos;
  while (name != original) {
    if (!name.ends_with(extension)) return false;
    name.resize(name.size() - extension.size());
    if (!RemoveUuid(&name)) return false;
    if (isRemoved) name += extension;
  }
  return true;
}

}  // namespace tessary::test
