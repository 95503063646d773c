#pragma once

#include <cstdint>

namespace tessary {

// What a volume may be found not to know.
enum class ProbeResult {
  kNoRenameNoReplace,    // of renameat2
  kNoReflink,            // files that share their blocks with those of the other volume
  kNoReliableHardLinks,  // a second name that is seen to be one of the same file
  kHardLinksProbed,      // any doubt about those
  kNoLinkMetadata,       // symbolic links whose owner and dates can be set without following them
  kLinkMetadataProbed,   // any doubt about those
};

// What has been learned about volumes, so that each is asked once in a run. What there is between
// two volumes, one and the same perhaps, is asked of the pair.
bool HasProbeResult(uint32_t device, ProbeResult what, uint32_t other = 0);
void RememberProbeResult(uint32_t device, ProbeResult what, uint32_t other = 0);

// True when any volume at all is known to lack it: the question that needs no device.
bool HasProbeResultAnywhere(ProbeResult what);

// Forgets all of it, as a device number that is free is given to the next volume.
void ForgetProbeResults();

}  // namespace tessary
