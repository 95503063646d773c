#pragma once

#include <array>
#include <optional>
#include <string>

#include "platform/managers/item_details.h"

// What a run sees of one item, as text and as JSON.
namespace tessary {

struct ItemReport {
  std::string path;  // absolute
  // "file", "folder", "package", "application", "link" or "special file".
  std::string kind;
  std::string whyNotFiled;  // "folder" or "hidden"; empty for an item that a run files
  // The keys in the order of AggregationKind, in UTF-8. A date has the keys of the year folder and
  // the day folder with "/" between them.
  std::array<std::optional<std::string>, 5> keys;
  ItemDetails details;
};

// Reads what a run sees of the item at the path. Returns noErr, or the status of CopyItemDetails;
// `*report` is written on success only.
Status MakeItemReport(const FSRef& item, const std::string& path, ItemReport* report);

// Lines, each with a newline; the first is the path, the others are indented.
std::string TextOfReport(const ItemReport& report);

// One object, without a newline.
std::string JsonOfReport(const ItemReport& report);

}  // namespace tessary
