#pragma once

namespace tessary {

// The rate of the display: a text that is shown for a shorter time cannot be read.
inline constexpr int kFrameInterval = 16;  // milliseconds

// Paints the changed parts of every visible window, flushes them to the display, and answers the
// window system: pings, exposed areas, drags. Input events wait for the event loop. The events that
// are delivered start nothing: commands, timers, drops and D-Bus requests become tasks, which run
// when the current one has returned. So this can be called in the middle of a run.
void PumpWindows();

// Calls PumpWindows if IsFrameDue. Otherwise the changes reach the display with a later call, or in
// the next iteration of the event loop. A run calls this for each item.
void PumpAtDisplayRate();

// Returns true if the last PumpWindows was at least kFrameInterval ago.
bool IsFrameDue();

// Sends painted content to the display server.
void FlushToDisplay();

}  // namespace tessary
