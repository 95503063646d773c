#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// The file specification of a reference: a token of the path that it has and of its identity, good
// for the life of the process, as a reference is not.
FSSpec MakeFileSpec(const FSRef& ref);

}  // namespace tessary
