#pragma once

#include <string>

namespace tessary::testing {

// What a volume can hold.
struct VolumeTraits {
  bool hasHardLinks = false;  // and shows them as one file
  bool hasSymbolicLinks = false;
  bool hasLinksAnywhere = false;  // also to "/..." and "../..."
  bool hasDatesOfLinks = false;   // a link's own
  bool hasSpecialFiles = false;   // FIFOs
  bool hasModes = false;          // a mode that is set is the one that is read
  bool hasOwners = false;         // another owner can be set; needs root
  bool hasMakers = false;         // what a user makes belongs to that user
  bool hasAttributes = false;     // those of the user
  bool hasAccessLists = false;    // those of POSIX
  bool hasCapabilities = false;   // of programs; needs root
  bool hasFineDates = false;      // to the nanosecond
  bool hasHoles = false;          // a file can take less room than its size says
  bool tellsHoles = false;        // and lseek finds where its holes are
  bool hasByteNames = false;      // any bytes but "/" and NUL make a name
  bool hasCase = false;           // "a" and "A" are two names
};

// Finds them out by trying each in the folder, and leaves nothing there.
VolumeTraits TryVolume(const std::string& folder);

}  // namespace tessary::testing
