#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/file_manager.h"

// The URIs by which other programs name files.
namespace tessary {

// The URIs of a text/uri-list: its lines but the empty ones and the comments.
std::vector<std::string> SplitUriList(std::string_view list);

// The path of the object that a file URI leads to, links followed. None for another scheme, another
// machine's file, a bad escape, or what is not there.
std::optional<std::string> ResolveFileUri(std::string_view uri);

// The file URI of an absolute path.
std::string FileUriFromPath(std::string_view path);

// The file specification of the object at a path that a person or a program named, links followed.
// Answers noErr, or why there is none. Written on success only.
Status MakeFileSpecFromPath(const std::string& path, FSSpec* spec);

}  // namespace tessary
