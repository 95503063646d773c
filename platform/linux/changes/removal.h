#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// Removes the file or link (`folder`, `name`) if it is the one meant. The kernel removes whatever
// bears a name, also what was saved under it a moment ago; so the object is first given a name that
// nobody knows, and `isUnchanged` is asked about what has come with it. That name is a visible one
// and no sweep's business: what a crash or a refusal leaves there is for people to find, and for a
// later run to file. It is "NAME - UUID.EXTENSION" where that is no name too long, and no hidden
// one. noErr; fBsyErr (it is not the one meant, or the name is that of a mount); fnfErr (nothing
// bears the name); else what the file system reports. On failure the object has its name, unless
// that was taken meanwhile: then it keeps the other one, which is logged, and `*isDisplaced` is set
// to true and otherwise left alone.
using UnchangedCheck = std::function<bool(const struct statx&)>;
Status RemoveIfUnchanged(int folder, const char* name, const UnchangedCheck& isUnchanged,
                         bool* isDisplaced);

// The same, by way of a name of the caller's that nothing can bear.
Status RemoveViaStagedName(int folder, const char* name, const std::string& stagedName,
                           const UnchangedCheck& isUnchanged, bool* isDisplaced);

}  // namespace tessary
