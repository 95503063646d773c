#include "platform/managers/urls.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/hfs_path.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr std::string_view kScheme = "file:";
constexpr std::string_view kAuthority = "//";

char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Removes the prefix, which is in lower case, from the text, ignoring case. Returns false if the
// text does not begin with it.
bool TakePrefix(std::string_view prefix, std::string_view* text) {
  if (text->size() < prefix.size()) return false;
  const auto isEqual = [](char inPrefix, char inText) { return inPrefix == LowerCase(inText); };
  if (!std::equal(prefix.begin(), prefix.end(), text->begin(), isEqual)) return false;
  text->remove_prefix(prefix.size());
  return true;
}

std::optional<int> HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = LowerCase(c);
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return std::nullopt;
}

// The byte that the first two characters of `escape`, hexadecimal digits, stand for.
std::optional<char> EscapedByte(std::string_view escape) {
  if (escape.size() < 2) return std::nullopt;
  const std::optional<int> high = HexDigit(escape[0]);
  const std::optional<int> low = HexDigit(escape[1]);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(*high << 4 | *low);
}

// An unescaped "?" or "#" begins a query or a fragment, which a file URL does not have. Dropping
// those would shorten the path, possibly to that of another object, so such a URL is rejected.
std::optional<std::string> DecodePath(std::string_view text) {
  std::string path;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '?' || c == '#') return std::nullopt;
    if (c == '%') {
      const std::optional<char> byte = EscapedByte(text.substr(i + 1));
      if (!byte) return std::nullopt;
      c = *byte;
      i += 2;
    }
    if (c == '\0') return std::nullopt;
    path += c;
  }
  return path;
}

}  // namespace

std::optional<CFURL> CFURLCreateFromFSRef(const FSRef& ref) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const CachedStat* cached = nullptr;
  if (catalog.Stat(reference, &cached) != noErr) return std::nullopt;
  return CFURL{catalog.PathOf(reference), S_ISDIR(cached->info.stx_mode)};
}

std::optional<CFURL> CFURLCreateWithBytes(std::string_view bytes) {
  if (!TakePrefix(kScheme, &bytes)) return std::nullopt;
  if (TakePrefix(kAuthority, &bytes)) TakePrefix("localhost", &bytes);
  if (!bytes.starts_with('/')) return std::nullopt;
  const std::optional<std::string> path = DecodePath(bytes);
  if (!path) return std::nullopt;
  return CFURL{.path = *path, .hasDirectoryPath = path->ends_with('/')};
}

bool CFURLGetFSRef(const CFURL& url, FSRef* ref) {
  if (ref == nullptr) return false;
  std::string resolved;
  FSRef made;
  if (ResolveNamedPath(url.path, &resolved) != noErr ||
      FSPathMakeRef(resolved.c_str(), &made) != noErr) {
    return false;
  }
  *ref = made;
  return true;
}

std::optional<std::u16string> CFURLCopyPathExtension(const CFURL& url) {
  const size_t slash = url.path.rfind('/');
  const size_t start = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = url.path.rfind('.');
  if (dot == std::string::npos || dot < start) return std::nullopt;
  return Utf16FromUtf8(std::string_view(url.path).substr(dot + 1));
}

bool CFURLHasDirectoryPath(const CFURL& url) { return url.hasDirectoryPath; }

std::optional<std::u16string> CFURLCopyFileSystemPath(const CFURL& url, CFURLPathStyle) {
  if (!url.path.starts_with('/')) return std::nullopt;
  return HfsPath(url.path);
}

}  // namespace tessary
