#pragma once

namespace tessary {

// Paints what has changed in every visible window and hands it to the display, in the middle of
// whatever is going on. Takes nothing in: no input, no timer, no request of another program is
// delivered.
void PumpWindows();

// Hands what has been painted to the display.
void FlushToDisplay();

}  // namespace tessary
