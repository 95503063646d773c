#include "platform/managers/urls.h"

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/hfs_path.h"
#include "platform/managers/text.h"

namespace tessary {

std::optional<CFURL> CFURLCreateFromFSRef(const FSRef& ref) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const CachedStat* cached = nullptr;
  if (catalog.Stat(reference, &cached) != noErr) return std::nullopt;
  return CFURL{catalog.PathOf(reference), S_ISDIR(cached->info.stx_mode)};
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
