#pragma once

#include <array>
#include <optional>
#include <string>

#include "platform/managers/item_details.h"

// What a run sees of one item, in words for a person and as JSON for a program.
namespace tessary {

struct ItemReport {
  std::string path;  // absolute
  // "file", "folder", "package", "application", "link" or "special file".
  std::string kind;
  std::string whyNotFiled;  // empty for an item that a run files
  // By the numbers of the kinds, less one; UTF-8. A date's is that of the year's folder, "/" and
  // that of the day's.
  std::array<std::optional<std::string>, 5> keys;
  ItemDetails details;
};

// Looks at the item. noErr, else what the file manager answers, and then nothing is written.
Status MakeItemReport(const FSRef& item, const std::string& path, ItemReport* report);

// Lines, each ended; the first is the path, the others are indented.
std::string TextOfReport(const ItemReport& report);

// One object, without an end of line.
std::string JsonOfReport(const ItemReport& report);

}  // namespace tessary
