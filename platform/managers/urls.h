#pragma once

#include <optional>
#include <string>

#include "platform/managers/file_manager.h"

namespace tessary {

// A file URL, kept as the POSIX path that it denotes.
struct CFURL {
  std::string path;
  bool hasDirectoryPath = false;  // the object was a folder when the URL was made
};

// Makes the file URL of the object, or none where it is gone or has no path. The path is of any
// length.
std::optional<CFURL> CFURLCreateFromFSRef(const FSRef& ref);

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
