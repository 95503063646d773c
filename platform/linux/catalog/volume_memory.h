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

// What has been learned about volumes, so that each is asked once in a run. What there is between
// two volumes, one and the same perhaps, is asked of the pair.
bool IsKnownToLack(uint32_t device, VolumeLack what, uint32_t other = 0);
void RememberLack(uint32_t device, VolumeLack what, uint32_t other = 0);

// True when any volume at all is known to lack it: the question that needs no device.
bool IsAnyKnownToLack(VolumeLack what);

// Forgets all of it, as a device number that is free is given to the next volume.
void ForgetLacks();

}  // namespace tessary
