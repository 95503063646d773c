#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// Returns true if the object, whose stat result is passed, is the one to be removed. The stat
// result is that of the staged object, with the identity that it had before (rename_pin.h).
using UnchangedCheck = std::function<bool(const struct statx&)>;

// Removes the file or link (`folder`, `name`) if `isUnchanged` confirms that it is the right one.
// Renames it to a random name first and checks it there: unlinkat(2) removes whatever has the name,
// also what another program saved under it after a check.
// The random name is "NAME - UUID.EXTENSION", or a UUID alone if NAME begins with "." or would be
// too long. It is a visible name that no cleanup removes: what a crash leaves under it is still the
// user's file.
// Errors: fnfErr (no such name); fBsyErr (another object, or a mount point); otherwise the status
// of the failed system call. On failure the object gets its name back. If another program has used
// the name meanwhile, the object keeps the random one, which is logged, and `*isDisplaced` is set
// to true; otherwise `*isDisplaced` is left alone.
Status RemoveIfUnchanged(int folder, const char* name, const UnchangedCheck& isUnchanged,
                         bool* isDisplaced);

// As RemoveIfUnchanged, with the caller's random name, which must not exist.
Status RemoveViaStagedName(int folder, const char* name, const std::string& stagedName,
                           const UnchangedCheck& isUnchanged, bool* isDisplaced);

}  // namespace tessary
