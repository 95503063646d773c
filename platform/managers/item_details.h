#pragma once

#include <optional>
#include <string>

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"

// What is kept of an item besides its contents, and where: for whoever wants to see it. The catalog
// and the comment agent answer the same without the origins.
namespace tessary {

enum class ItemKind { kFile, kFolder, kLink, kSpecial };

// Each origin is the name of an extended attribute, of a "._" file beside the item, or "birth
// time"; empty where there is nothing.
struct ItemDetails {
  ItemKind kind = ItemKind::kFile;
  FileInfo finderInfo;
  std::string finderInfoOrigin;
  std::optional<std::u16string> comment;
  std::string commentOrigin;
  std::optional<Timestamp> modificationDate;  // a link being dated by its target, as below
  std::optional<Timestamp> creationDate;
  std::string creationDateOrigin;
};

// Tells the details of the object of `ref`, for which its folder is listed if it has not been yet:
// only then is it known whether there are "._" files. Answers noErr, paramErr (no out-argument, or
// the all-zero reference), fnfErr. Nothing is written on failure.
Status CopyItemDetails(const FSRef& ref, ItemDetails* details);

// The instant in UTC, "2009-03-04T05:06:07.000000089Z"; empty outside of the years 0 to 9999.
std::string FormatTimestamp(const Timestamp& instant);

}  // namespace tessary
