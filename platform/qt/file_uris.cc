#include "platform/qt/file_uris.h"

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"

namespace tessary {
namespace {

// Unreserved characters and "/" need no escape anywhere in the path of a URI.
bool NeedsNoEscape(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("/-._~").find(c) != std::string_view::npos;
}

}  // namespace

std::vector<std::string> SplitUriList(std::string_view list) {
  std::vector<std::string> uris;
  while (!list.empty()) {
    const size_t end = list.find_first_of("\r\n");
    const std::string_view line = list.substr(0, end);
    if (!line.empty() && line[0] != '#') uris.emplace_back(line);
    if (end == std::string_view::npos) break;
    list.remove_prefix(end + 1);
  }
  return uris;
}

bool IsFileUri(std::string_view uri) {
  const std::string_view scheme = uri.substr(0, uri.find(':'));
  return scheme.size() < uri.size() && CFStringLowercase(Utf16FromUtf8(scheme)) == u"file";
}

std::optional<std::string> ResolveFileUri(std::string_view uri) {
  const std::optional<CFURL> url = CFURLCreateWithBytes(uri);
  std::string path;
  if (!url || ResolveNamedPath(url->path, &path) != noErr) return std::nullopt;
  return path;
}

std::string FileUriFromPath(std::string_view path) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string uri = "file://";
  for (const char c : path) {
    if (NeedsNoEscape(c)) {
      uri += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    uri += '%';
    uri += kDigits[byte >> 4U];
    uri += kDigits[byte & 0x0FU];
  }
  return uri;
}

Status MakeFileSpecFromPath(const std::string& path, FSSpec* spec) {
  const NSAutoreleasePool pool;
  std::string resolved;
  Status status = ResolveNamedPath(path, &resolved);
  if (status != noErr) return status;
  FSRef ref;
  status = FSPathMakeRef(resolved.c_str(), &ref);
  if (status != noErr) return status;
  return FSGetCatalogInfo(ref, kFSCatInfoNone, nullptr, nullptr, spec, nullptr);
}

}  // namespace tessary
