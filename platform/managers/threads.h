#pragma once

namespace tessary {

// Lets other threads that are ready to run on this processor run first. Returns at once if there
// are none.
void YieldToAnyThread();

}  // namespace tessary
