#pragma once

#include <memory>
#include <vector>

#include "platform/managers/file_manager.h"

// Aliases: what an Apple event carries of a file or folder, in the type typeAlias. They lead back
// to the same object, by its path, as long as this process lives.
namespace tessary {

using AliasRecord = std::vector<unsigned char>;
using AliasHandle = std::unique_ptr<AliasRecord>;

// Makes the alias of an object. Answers noErr, paramErr (no out-argument, or not a specification),
// fnfErr (the object is gone), memFullErr. Written on success only.
Status NewAlias(const FSSpec& target, AliasHandle* alias);

// Makes an alias that of another object, and tells whether it was of another one before. Answers
// and writes like NewAlias.
Status UpdateAlias(const FSSpec& target, AliasRecord* alias, bool* wasChanged);

}  // namespace tessary
