#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

namespace tessary {

// A file URL, kept as the POSIX path that it denotes.
struct CFURL {
  std::string path;
  bool hasDirectoryPath = false;  // made of a folder's reference, or of a text that ends in "/"
};

// Makes the file URL of the object, or none where it is gone or has no path. The path is of any
// length.
std::optional<CFURL> CFURLCreateFromFSRef(const FSRef& ref);

// Makes a URL of its text, UTF-8 or any other bytes, each escape standing for its byte. None for
// another scheme than "file" and another host than this one, for a path that is not absolute or
// holds NUL, for a bad escape, and for a "?" or "#" that is not escaped.
std::optional<CFURL> CFURLCreateWithBytes(std::string_view bytes);

// Makes the reference of the object that the URL leads to, links resolved: a person or another
// program has named it. True when that worked; `*ref` is written then only.
bool CFURLGetFSRef(const CFURL& url, FSRef* ref);

// The text after the last "." of the URL's last component as a catalog string, case kept, possibly
// empty; none where that component holds no ".". Read from the POSIX name, so its ":" stays ":".
std::optional<std::u16string> CFURLCopyPathExtension(const CFURL& url);

// True where the URL is that of a folder, a package among them.
bool CFURLHasDirectoryPath(const CFURL& url);

enum class CFURLPathStyle { kCFURLHFSPathStyle = 1 };

// The URL's path in another style: the name of the one volume that all paths begin with, then the
// catalog name of each component, joined by ":", none at the end. A catalog name holds no ":", so
// that the path leads back to the object whatever its name. None for a URL without a path.
std::optional<std::u16string> CFURLCopyFileSystemPath(const CFURL& url, CFURLPathStyle style);

}  // namespace tessary
