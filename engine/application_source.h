#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// Finds what a run on `source` files: the source itself or, where it is an application and
// GetAggregateAppResourcesOnly says so, its resources folder. False for an application without
// resources. `*runSource` is written on success only; false also without it.
bool FindRunSource(const FSRef& source, FSRef* runSource);

// The door through which every source reaches the engine. Starts a run on what FindRunSource finds;
// where that is nothing it starts nothing, and nothing is reported.
void ResolveRunSource(const FSRef& source);

}  // namespace tessary
