#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

inline constexpr char kUTTypeFileURL[] = "public.file-url";
inline constexpr char kUTTypeURL[] = "public.url";

// The data of a request from another program: items, each in one or more flavors.
struct Pasteboard {
  using Item = std::map<std::string, std::string>;  // flavor to data

  std::vector<Item> items;
};

// Shared ownership: several events may hold the same pasteboard.
using PasteboardRef = std::shared_ptr<const Pasteboard>;

}  // namespace tessary
