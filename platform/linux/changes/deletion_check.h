#pragma once

#include <sys/stat.h>

#include "platform/managers/status.h"

namespace tessary {

// Predicts whether this process may delete the object (`folder`, `name`), whose stat result is
// `info`, and for a folder everything in it. Changes nothing.
// Errors: afpAccessDenied (no permission, another user's object in a sticky folder, or immutable);
// wPrErr (read-only filesystem); fBsyErr (a mount point); diffVolErr (a mount inside); otherwise
// the status of the failed system call.
Status CheckDeletable(int folder, const char* name, const struct statx& info);

// The part of this prediction that depends on the object alone: `folder` is the stat result of its
// folder, which is known to permit changes. Errors: afpAccessDenied; fBsyErr.
Status CheckObjectDeletable(const struct statx& folder, const struct statx& info);

}  // namespace tessary
