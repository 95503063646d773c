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

// Tells what the item is. A folder is a package by its extension or its Finder flags; a package
// with the extension "app", or any item of file type APPL, is an application; a link is neither.
// Answers noErr, paramErr (no out-argument, or a request for no flags), or the status with which
// the item could not be read. `*info` is written on success only.
Status LSCopyItemInfoForRef(const FSRef& item, uint32_t whichInfo, LSItemInfoRecord* info);

// The name under which the item is shown to the user: its name in the file system, byte for byte,
// and "/" for the root. Answers noErr, paramErr (no out-argument), or the status with which the
// item could not be found. Written on success only.
Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name);

}  // namespace tessary
