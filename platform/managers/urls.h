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

}  // namespace tessary
