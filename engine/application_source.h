#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// The door through which every source reaches the engine. Starts a run on the source, or on its
// resources folder where it is an application and GetAggregateAppResourcesOnly says so. An
// application without resources starts nothing, and nothing is reported.
void ResolveRunSource(const FSRef& source);

}  // namespace tessary
