#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

// The sidecar of an item: the "._" file beside it in which a Mac keeps what the filesystem cannot
// store.
namespace tessary {

// Returns the place of the sidecar of the object at a place, whether or not there is a sidecar.
// None if no "._" name has been seen in the folder, and for a sidecar, which has none of its own.
std::optional<Place> SidecarPlaceOf(const Place& place);

// Returns true if the object at a place has a sidecar. Only a regular file is one.
bool HasSidecar(const Place& place);

// The beginning of a sidecar. Everything that is read is in it; a resource fork comes last.
struct SidecarData {
  std::string bytes;
  uint64_t wholeSize = 0;  // of the file
};

// Reads the sidecar at its place. Returns none if there is none or it cannot be read. Makes one
// system call if there is none.
std::optional<SidecarData> ReadSidecar(const Place& sidecar);

// Changes the bytes of the sidecar from `before`, which ReadSidecar returned, to `after`. Both have
// the same size. Returns noErr, fnfErr (the sidecar has changed since it was read), otherwise what
// the filesystem reports.
Status RewriteSidecar(const Place& sidecar, const SidecarData& before, const std::string& after);

}  // namespace tessary
