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

// What a request from another program carries: items, each with its data in one or more flavors.
struct Pasteboard {
  using Item = std::map<std::string, std::string>;  // flavor to data

  std::vector<Item> items;
};

// Shared by the events that carry it.
using PasteboardRef = std::shared_ptr<const Pasteboard>;

}  // namespace tessary
