#pragma once

#include "platform/managers/aliases.h"

namespace tessary {

// Makes a reference to the object that an alias designates. Returns noErr; paramErr (not an alias,
// or no out-argument); fnfErr (the object is gone or another one has its path); otherwise a status
// of FSpMakeFSRef. `*target` is written on success only.
Status FollowAlias(const AliasRecord& alias, FSRef* target);

}  // namespace tessary
