#pragma once

#include "platform/managers/file_manager.h"

namespace tessary {

// Starts a run through the hook `runAggregation`: on the resources folder of an application if
// GetAggregateAppResourcesOnly says so, otherwise on `source` itself. Every source reaches the
// engine through this function. For an application without a resources folder, nothing is started
// and nothing is reported.
void ResolveRunSource(const FSRef& source);

}  // namespace tessary
