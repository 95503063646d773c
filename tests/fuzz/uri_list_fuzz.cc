#include "platform/managers/urls.h"
#include "platform/qt/file_uris.h"
#include "tests/fuzz/fuzz.h"

// File URIs of any bytes: a URI and its path survive a round trip, and every path has a URI.
namespace tessary::test {
namespace {

void CheckUri(const std::string& uri) {
  const std::optional<CFURL> url = CFURLCreateWithBytes(uri);
  if (!url) return;
  Require(url->path.starts_with('/'), "a file's URI leads to an absolute path");
  Require(url->path.find('\0') == std::string::npos, "a path contains no NUL");
  const std::optional<CFURL> again = CFURLCreateWithBytes(FileUriFromPath(url->path));
  Require(again && again->path == url->path && again->hasDirectoryPath == url->hasDirectoryPath,
          "a path survives a round trip through its URI");
}

}  // namespace

void TryInput(std::string_view input) {
  const std::vector<std::string> uris = SplitUriList(input);
  std::string joined;
  for (const std::string& uri : uris) {
    Require(!uri.empty() && !uri.starts_with('#'), "no empty line and no comment is a URI");
    Require(uri.find_first_of("\r\n") == std::string::npos, "a URI is one line");
    Require(input.find(uri) != std::string_view::npos, "a URI is an unchanged part of the list");
    joined += uri + "\r\n";
    CheckUri(uri);
  }
  Require(SplitUriList(joined) == uris, "a list of URIs survives a round trip");
  if (input.find('\0') != std::string_view::npos) return;
  const std::string path = "/" + std::string(input);
  const std::string uri = FileUriFromPath(path);
  Require(SplitUriList(uri) == std::vector<std::string>{uri}, "any path's URI is one line");
  const std::optional<CFURL> url = CFURLCreateWithBytes(uri);
  Require(url && url->path == path, "any path survives a round trip through its URI");
}

}  // namespace tessary::test
