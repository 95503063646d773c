#pragma once

#include <memory>
#include <vector>

#include "platform/managers/file_manager.h"

// Aliases: how an Apple event refers to a file or folder (typeAlias). An alias leads back to the
// same object by its path. It is valid only in the process that made it, for as long as that
// process runs.
namespace tessary {

using AliasRecord = std::vector<unsigned char>;
using AliasHandle = std::unique_ptr<AliasRecord>;

// Makes an alias of the object that `target` designates; the caller owns it. Returns noErr;
// paramErr (no out-argument, or `target` is not a file specification); memFullErr; fnfErr (the
// object is gone or another one has its name) or another status of FSpMakeFSRef. `*alias` is
// written on success only.
Status NewAlias(const FSSpec& target, AliasHandle* alias);

// Changes `*alias` into an alias of the object that `target` designates. Sets `*wasChanged` to
// whether it was an alias of another object before. Returns the statuses of NewAlias. Nothing is
// written on failure.
Status UpdateAlias(const FSSpec& target, AliasRecord* alias, bool* wasChanged);

}  // namespace tessary
