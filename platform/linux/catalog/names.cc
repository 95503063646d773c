#include "platform/linux/catalog/names.h"

#include <algorithm>

#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

namespace tessary {
namespace {

// True if the name contains a lone surrogate that does not stand for a byte. Converted to its
// three-byte form, it would not convert back to the same name.
bool HasMeaninglessSurrogate(std::u16string_view name) {
  for (size_t i = 0; i < name.size(); ++i) {
    if (IsHighSurrogate(name[i])) {
      if (i + 1 == name.size() || !IsLowSurrogate(name[i + 1])) return true;
      ++i;
    } else if (IsLowSurrogate(name[i]) && !IsSurrogateEscape(name[i])) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::u16string CatalogName(std::string_view posixName) {
  std::u16string name = Utf16FromUtf8(posixName);
  std::replace(name.begin(), name.end(), u':', u'/');
  return name;
}

Status PosixName(std::u16string_view catalogName, const Volume& volume, std::string* posixName) {
  // "." and ".." would lead out of the destination, and NUL would cut the name short.
  if (catalogName.empty() || catalogName == u"." || catalogName == u"..") return bdNamErr;
  if (catalogName.find(u'\0') != std::u16string_view::npos) return bdNamErr;
  if (HasMeaninglessSurrogate(catalogName)) return bdNamErr;
  std::string name = Utf8FromUtf16(catalogName);
  std::replace(name.begin(), name.end(), '/', ':');
  *posixName = NameOnVolume(name, volume);
  return noErr;
}

}  // namespace tessary
