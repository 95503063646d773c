#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

// The sidecar beside an item: the "._" file in which a Mac has left what it keeps of the item.
namespace tessary {

// The place of the sidecar of the object at a place; none where no "._" name has been seen in its
// folder, and for a sidecar itself. Whether it is there has not been asked.
std::optional<Place> SidecarPlaceOf(const Place& place);

// The beginning of a sidecar, with all that is in it besides a resource fork, which comes last.
struct SidecarData {
  std::string bytes;
  uint64_t wholeSize = 0;  // of the file
};

// Reads the sidecar at its place; none where there is none, or none that may be read. One call of
// the kernel where there is none.
std::optional<SidecarData> ReadSidecar(const Place& sidecar);

// Writes over what differs in the bytes of the sidecar, which has stayed as it was read. noErr,
// fnfErr (it has changed since), else what the file system reports.
Status RewriteSidecar(const Place& sidecar, const SidecarData& before, const std::string& after);

}  // namespace tessary
