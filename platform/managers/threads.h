#pragma once

namespace tessary {

// Lets whatever else is ready to run on this processor run first. Returns at once where there is
// nothing.
void YieldToAnyThread();

}  // namespace tessary
