#pragma once

#include "platform/managers/status.h"

namespace tessary {

// Deletes the folder named (`folder`, `name`), open for reading as `opened`, with everything in it,
// through descriptors and without following a link. A folder inside that its owner has closed to
// himself is opened up first. `*hasBegun` is set to true, on failure too, as soon as anything has
// been removed, and left alone otherwise.
// noErr; diffVolErr (another volume is mounted inside: it is left); memFullErr; else what the file
// system reports.
Status DeleteTree(int folder, const char* name, int opened, bool* hasBegun);

}  // namespace tessary
