#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/file_manager.h"

// Conversions between paths and the file URIs that other programs send and expect.
namespace tessary {

// Returns the URIs of a text/uri-list: all lines except empty lines and comments.
std::vector<std::string> SplitUriList(std::string_view list);

// Returns true if the URI has the scheme "file".
bool IsFileUri(std::string_view uri);

// Returns the path of the object that a file URI designates, with links resolved. Returns no value
// for another scheme, a remote host, an invalid escape or a missing object.
std::optional<std::string> ResolveFileUri(std::string_view uri);

// Returns the file URI of an absolute path.
std::string FileUriFromPath(std::string_view path);

// Makes the file specification of the object at a path that a person or a program named, with links
// resolved. Returns noErr or the status of the failed lookup. Written on success only.
Status MakeFileSpecFromPath(const std::string& path, FSSpec* spec);

}  // namespace tessary
