#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"

// The metadata of an item and where each value is stored. FSGetCatalogInfo, CopyFileDateAtPath and
// the comment agent give the same values without their origins.
namespace tessary {

enum class ItemKind { kFile, kFolder, kLink, kSpecial };

// An origin is the name of an extended attribute, the name of the item's "._" sidecar, or "birth
// time". It is empty if there is no value.
struct ItemDetails {
  ItemKind kind = ItemKind::kFile;
  FileInfo finderInfo;
  std::string finderInfoOrigin;
  std::optional<std::u16string> comment;
  std::string commentOrigin;
  std::optional<Timestamp> modificationDate;  // both dates are those of a link's target
  std::optional<Timestamp> creationDate;
  std::string creationDateOrigin;
};

// Reads the details of the object of `ref`. Scans its folder for sidecars, unless the folder has
// been listed already. Returns noErr; paramErr (no out-argument, or the all-zero reference); fnfErr
// (the object is gone or another one has its name); otherwise a filesystem error. Nothing is
// written on failure.
Status CopyItemDetails(const FSRef& ref, ItemDetails* details);

// Reads the size in bytes of a file or link. For a folder, such as a package, reads the sum of the
// sizes of everything in it, where a file with several names counts once. Within an
// FSStatCacheScope, makes no system call for an object that has been examined, unless it is a
// folder. Returns noErr; paramErr (no out-argument, or the all-zero reference); fnfErr (the object
// is gone or another one has its name); diffVolErr (a filesystem is mounted inside the folder);
// otherwise a filesystem error. Nothing is written on failure.
Status CopyItemSize(const FSRef& ref, uint64_t* bytes);

// Formats the instant in UTC: "2009-03-04T05:06:07.000000089Z". Empty outside the years 0 to 9999.
std::string FormatTimestamp(const Timestamp& instant);

}  // namespace tessary
