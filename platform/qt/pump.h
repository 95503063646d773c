#pragma once

namespace tessary {

// Paints the changed parts of every visible window and flushes them to the display. Delivers no
// input, no timers and no D-Bus requests, so that it can be called in the middle of a run.
void PumpWindows();

// Sends painted content to the display server.
void FlushToDisplay();

}  // namespace tessary
