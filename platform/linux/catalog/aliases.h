#pragma once

#include "platform/managers/aliases.h"

namespace tessary {

// The object that an alias leads to. Answers noErr, paramErr (not an alias, no out-argument),
// fnfErr (the object is gone or another one has its path). On failure `*target` is untouched.
Status FollowAlias(const AliasRecord& alias, FSRef* target);

}  // namespace tessary
