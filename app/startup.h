#pragma once

#include "platform/managers/status.h"

// Start-up, the event loop, the event pump, and the quit after a run. Everything, including runs,
// happens on one thread inside the event loop.
namespace tessary {

// Set by the command handler when it passes on the quit command. Nothing reads it.
extern bool gQuitRequested;

// Makes the interface, installs the handlers and runs the event loop until the user quits. Returns
// noErr when the loop has ended, or the status of opening the forms or making the main window; then
// the loop has not run. gWindowSystem must be set.
//
// Sets the engine's hooks for progress texts and for runs until it returns; the hook for items is
// kept. The program itself registers the applications that answer Apple events and the
// information of the main bundle.
Status RunApplication();

// Redraws the windows, also during a run. Delivers no events.
void PumpEvents();

// Installs a timer that shows "Bye." after one second, fades out the window and ends the process.
void InstallQuitTimer();

}  // namespace tessary
