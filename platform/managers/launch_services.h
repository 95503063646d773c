#pragma once

#include <cstdint>
#include <string>

#include "platform/managers/file_manager.h"

namespace tessary {

inline constexpr uint32_t kLSItemInfoIsPackage = 0x2;      // a folder shown as one item
inline constexpr uint32_t kLSItemInfoIsApplication = 0x4;  // an application, bundle or single file
inline constexpr uint32_t kLSItemInfoIsContainer = 0x8;    // a folder or a volume

inline constexpr uint32_t kLSRequestBasicFlagsOnly = 0x4;
inline constexpr uint32_t kLSRequestAllFlags = 0x10;

struct LSItemInfoRecord {
  uint32_t flags = 0;
};

// Classifies the item. A folder is a package if its extension or its Finder flags say so. A package
// with the extension "app", and any item of file type APPL, is an application. A link is not
// followed and is none of these. Returns noErr; paramErr (no out-argument, no flags requested, or
// the all-zero reference); fnfErr (the object is gone or another one has its name); otherwise a
// filesystem error. `*info` is written on success only.
Status LSCopyItemInfoForRef(const FSRef& item, uint32_t whichInfo, LSItemInfoRecord* info);

// Reads the name that the user sees: the item's name in the filesystem, byte for byte, or "/" for
// the root. Returns noErr; paramErr (no out-argument, or the all-zero reference); fnfErr (the
// object is gone or another one has its name); otherwise a filesystem error. `*name` is written on
// success only.
Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name);

}  // namespace tessary
