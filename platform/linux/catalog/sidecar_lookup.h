#pragma once

#include <cstdint>

// Which folders hold sidecars, the "._" files that a Mac leaves beside items on filesystems that
// cannot store its metadata. Their names are those of mac_formats/apple_double.h. The catalog looks
// up a sidecar only in a folder in which it has seen a "._" name.
namespace tessary {

// Reads the names of an interned folder for sidecars, unless they have been read in this run. A
// folder that cannot be read counts as one with sidecars, so that each of its items is asked for
// its own.
void ScanForSidecars(uint32_t folder);

}  // namespace tessary
