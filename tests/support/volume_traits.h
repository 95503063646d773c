#pragma once

#include <string>

namespace tessary::test {

// What a filesystem supports.
struct VolumeTraits {
  bool hasHardLinks = false;  // with one inode number
  bool hasSymbolicLinks = false;
  bool takesAnyLinkTarget = false;   // including "/..." and "../..."
  bool hasDatesOfLinks = false;      // of symbolic links
  bool hasSpecialFiles = false;      // FIFOs
  bool hasModes = false;             // a mode can be set and is kept
  bool hasOwners = false;            // an owner can be set; needs root
  bool ownsWhatItCreates = false;    // a file belongs to the user who created it
  bool hasAttributes = false;        // user extended attributes
  bool hasAccessLists = false;       // POSIX ACLs
  bool hasFileCapabilities = false;  // needs root
  bool hasNanosecondDates = false;
  bool hasRenameNoReplace = false;  // renameat2(2) with RENAME_NOREPLACE
  bool hasRenameExchange = false;   // renameat2(2) with RENAME_EXCHANGE
  bool hasHoles = false;            // a hole takes no space
  bool reportsHoles = false;        // lseek(2) finds holes
  bool takesAnyNameBytes = false;   // all but "/" and NUL
  bool isCaseSensitive = false;     // "a" and "A" are different names
};

// What two filesystems both support.
VolumeTraits CommonTraits(const VolumeTraits& a, const VolumeTraits& b);

// Probes them in the folder. Removes everything that it creates there.
VolumeTraits ProbeVolume(const std::string& folder);

}  // namespace tessary::test
