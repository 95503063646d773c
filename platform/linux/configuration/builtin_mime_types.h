#pragma once

#include <span>
#include <string_view>

namespace tessary {

struct BuiltinMimeType {
  std::string_view extension;  // without ".", in lower case
  std::string_view type;
};

// Returns the MIME types of common extensions, each extension once. The types have the names of the
// shared MIME database, so that a file goes to the same folder whether or not it is installed.
std::span<const BuiltinMimeType> BuiltinMimeTypes();

}  // namespace tessary
