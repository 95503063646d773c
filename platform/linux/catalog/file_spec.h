#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// Makes the file specification of a reference: a number that stands for the object's path and
// identity. It is valid for the lifetime of the process, which a reference is not.
FSSpec MakeFileSpec(const FSRef& ref);

}  // namespace tessary
