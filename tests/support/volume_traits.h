#pragma once

#include <string>

namespace tessary::test {

// What a volume can hold.
struct VolumeTraits {
  bool hasHardLinks = false;  // and shows them as one file
  bool hasSymbolicLinks = false;
  bool takesAnyLinkTarget = false;   // also to "/..." and "../..."
  bool hasDatesOfLinks = false;      // a link's own
  bool hasSpecialFiles = false;      // FIFOs
  bool hasModes = false;             // a mode that is set is the one that is read
  bool hasOwners = false;            // another owner can be set; needs root
  bool ownsWhatItCreates = false;    // what a user makes belongs to that user
  bool hasAttributes = false;        // those of the user
  bool hasAccessLists = false;       // those of POSIX
  bool hasFileCapabilities = false;  // of programs; needs root
  bool hasNanosecondDates = false;   // to the nanosecond
  bool hasHoles = false;             // a file can take less room than its size says
  bool reportsHoles = false;         // and lseek finds where its holes are
  bool takesAnyNameBytes = false;    // any bytes but "/" and NUL make a name
  bool isCaseSensitive = false;      // "a" and "A" are two names
};

// Finds them out by trying each in the folder, and leaves nothing there.
VolumeTraits ProbeVolume(const std::string& folder);

}  // namespace tessary::test
