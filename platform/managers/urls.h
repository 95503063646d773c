#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

namespace tessary {

// A file URL, stored as the POSIX path that it denotes.
struct CFURL {
  std::string path;
  bool hasDirectoryPath = false;  // made from a folder's reference, or from text that ends in "/"
};

// Returns the file URL of the object of `ref`; none if the object is gone, another one has its
// name, or it cannot be read. The path may be of any length.
std::optional<CFURL> CFURLCreateFromFSRef(const FSRef& ref);

// Parses the text of a URL, in UTF-8 or any other bytes; each %XX escape becomes its byte. Returns
// none for a scheme other than "file", a host other than "localhost", a path that is not absolute
// or contains NUL, a malformed escape, and an unescaped "?" or "#".
std::optional<CFURL> CFURLCreateWithBytes(std::string_view bytes);

// Makes a reference to the object that the URL leads to. Links are followed, because the URL comes
// from the user or another program. Returns true on success; `*ref` is written only then.
bool CFURLGetFSRef(const CFURL& url, FSRef* ref);

// Returns the text after the last "." of the URL's last component, case kept, possibly empty; none
// if the component contains no ".". It is taken from the POSIX name, so a ":" stays ":".
std::optional<std::u16string> CFURLCopyPathExtension(const CFURL& url);

// Returns true if the URL denotes a folder, including a package.
bool CFURLHasDirectoryPath(const CFURL& url);

enum class CFURLPathStyle { kCFURLHFSPathStyle = 1 };

// Returns the URL's path in HFS style: the name of the root volume, then the catalog name of each
// component, joined by ":", without a ":" at the end. The catalog name of a file contains no ":",
// so the path is unambiguous. Returns none for a URL without an absolute path.
std::optional<std::u16string> CFURLCopyFileSystemPath(const CFURL& url, CFURLPathStyle style);

}  // namespace tessary
