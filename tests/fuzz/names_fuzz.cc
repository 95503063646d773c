#include <algorithm>

#include "platform/linux/catalog/hfs_path.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/managers/text.h"
#include "platform/managers/utf16.h"
#include "tests/fuzz/fuzz.h"

// Conversion of names: any bytes survive a round trip through UTF-16, and no UTF-16 name gives a
// POSIX name that leads out of its folder.
namespace tessary::test {
namespace {

bool IsName(std::string_view bytes) {
  return !bytes.empty() && bytes != "." && bytes != ".." &&
         bytes.find('/') == std::string_view::npos && bytes.find('\0') == std::string_view::npos;
}

// True if a low surrogate has no high surrogate before it, or a high one no low one after it.
bool HasLoneSurrogate(std::u16string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsLowSurrogate(text[i])) return true;
    if (!IsHighSurrogate(text[i])) continue;
    if (++i == text.size() || !IsLowSurrogate(text[i])) return true;
  }
  return false;
}

void CheckBytes(const std::string& bytes) {
  const std::u16string text = Utf16FromUtf8(bytes);
  Require(Utf8FromUtf16(text) == bytes, "bytes survive a round trip through UTF-16");
  Require(IsUtf8(bytes) == !HasLoneSurrogate(text), "only invalid UTF-8 gives lone surrogates");
  const std::u16string lower = CFStringLowercase(text);
  Require(CFStringLowercase(lower) == lower, "lower-casing is idempotent");

  std::string posix = "untouched";
  const std::u16string name = CatalogName(bytes);
  const Status status = PosixName(name, Volume(), &posix);
  if (!IsName(bytes)) return;
  Require(status == noErr && posix == bytes, "a name survives a round trip through the catalog");
  Require(PosixPath(HfsPath("/folder/" + bytes)) == "/folder/" + bytes,
          "a path survives a round trip through the HFS style");
  Require(!IsTempName(bytes) || bytes.starts_with(kTempPrefix), "a temporary name has our prefix");
}

void CheckWindowsName(const std::string& name) {
  const Volume windows = {.hasReliableEntries = false, .hasWindowsNames = true};
  const std::string substitute = NameOnVolume(name, windows);
  Require(IsName(substitute) && IsUtf8(substitute), "a substitute is a valid name in UTF-8");
  Require(NameOnVolume(substitute, windows) == substitute, "substitution is idempotent");
  Require(substitute.find_first_of("\"*:<>?\\|\x7F") == std::string::npos &&
              std::ranges::none_of(substitute, [](char c) { return c >= 0 && c < 0x20; }) &&
              !substitute.ends_with('.') && !substitute.ends_with(' '),
          "a substitute contains no invalid character");
}

// Checks any UTF-16 units, which may come from a key, a comment or another program's event.
void CheckUnits(const std::u16string& units) {
  const std::string bytes = Utf8FromUtf16(units);
  Require(Utf8FromUtf16(Utf16FromUtf8(bytes)) == bytes,
          "bytes survive a round trip through UTF-16");
  std::string posix = "untouched";
  if (PosixName(units, Volume(), &posix) != noErr) {
    Require(posix == "untouched", "an invalid name gives no bytes");
    return;
  }
  Require(IsName(posix), "a catalog name stays in its own folder");
  CheckWindowsName(posix);
  const auto path = PosixPath(u"Linux:folder:" + units);
  Require(!path || path->starts_with("/folder"), "a path stays below its folder");
}

}  // namespace

void TryInput(std::string_view input) {
  CheckBytes(std::string(input));
  std::u16string units;
  for (size_t i = 0; i + 1 < input.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(input[i]) << 8U |
                                   static_cast<unsigned char>(input[i + 1]));
  }
  CheckUnits(units);
}

}  // namespace tessary::test
