#include "platform/qt/file_uris.h"

#include <QByteArray>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/urls.h"

namespace tessary {

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

std::optional<std::string> NamedPathOfFileUri(std::string_view uri) {
  const std::optional<CFURL> url = CFURLCreateWithBytes(uri);
  std::string path;
  if (!url || ResolveNamedPath(url->path, &path) != noErr) return std::nullopt;
  return path;
}

std::string FileUriOfPath(std::string_view path) {
  const QByteArray bytes(path.data(), static_cast<qsizetype>(path.size()));
  return "file://" + bytes.toPercentEncoding("/").toStdString();
}

Status MakeNamedFileSpec(const std::string& path, FSSpec* spec) {
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
