#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// Finds the folder that a run on `source` works on: the resources folder of an application if
// GetAggregateAppResourcesOnly says so, otherwise `source` itself. Returns false for an application
// without a resources folder, and if `runSource` is null. `*runSource` is written on success only.
bool FindRunSource(const FSRef& source, FSRef* runSource);

// Starts a run on the folder that FindRunSource finds, through the hook `runAggregation`. Every
// source reaches the engine through this function. If there is no such folder, nothing is started
// and nothing is reported.
void ResolveRunSource(const FSRef& source);

}  // namespace tessary
