#pragma once

#include <span>
#include <string_view>

namespace tessary {

struct BuiltinFileType {
  std::string_view extension;  // with its leading ".", in lower case
  std::string_view type;       // four bytes
};

// Returns the classic file types of well-known extensions, each extension once.
std::span<const BuiltinFileType> BuiltinFileTypes();

}  // namespace tessary
