#pragma once

#include <span>
#include <string_view>

namespace tessary {

struct BuiltinMimeType {
  std::string_view extension;  // without ".", in lower case
  std::string_view type;
};

// The MIME types of common extensions, each extension once, under the names that the shared MIME
// database gives them, so that a file goes to the same folder whether or not that is installed.
std::span<const BuiltinMimeType> BuiltinMimeTypes();

}  // namespace tessary
