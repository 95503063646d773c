#pragma once

#include <cstdint>

namespace tessary {

// What a volume may be found not to know.
enum class VolumeLack {
  kNoReplaceFlag,    // of renameat2
  kClones,           // files that share their blocks with those of the other volume
  kTrueLinks,        // a second name that is seen to be one of the same file
  kUntriedNames,     // any doubt about those
  kLinksOfTheirOwn,  // symbolic links whose owner and dates can be set without following them
  kUntriedLinks,     // any doubt about those
};

// What this process has learned about volumes, so that each is asked once. A device number that
// comes to stand for another volume costs that one a slower way, never a wrong one.
// What there is between two volumes, one and the same perhaps, is asked of the pair.
bool IsKnownToLack(uint32_t device, VolumeLack what, uint32_t other = 0);
void RememberLack(uint32_t device, VolumeLack what, uint32_t other = 0);

// True when any volume at all is known to lack it: the question that needs no device.
bool IsAnyKnownToLack(VolumeLack what);

}  // namespace tessary
