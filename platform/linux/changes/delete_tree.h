#pragma once

#include "platform/linux/changes/manifest.h"
#include "platform/managers/status.h"

namespace tessary {

// Deletes the folder (`folder`, `name`), which is open for reading as `opened`, with everything in
// it. Works on descriptors and never follows a link. Gives the owner access to folders inside that
// deny it. Sets `*hasBegun` to true, on failure too, once anything was removed, and leaves it alone
// otherwise.
// Errors: diffVolErr (a mount inside, which is left alone); memFullErr; otherwise the status of the
// failed system call.
Status DeleteTree(int folder, const char* name, int opened, bool* hasBegun);

// As DeleteTree, for a folder that other programs may use meanwhile. Compares each object with
// `manifest`, in which all of them are, right before it is deleted. Errors: fBsyErr also if an
// object has been changed, added or removed since.
Status DeleteTreeIfUnchanged(int folder, const char* name, const Manifest& manifest,
                             bool* hasBegun);

}  // namespace tessary
