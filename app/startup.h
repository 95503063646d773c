#pragma once

#include "platform/managers/status.h"

// From the program's start to its end: what is set up in which order, the event loop, the pump and
// the quit after a run. Everything, runs included, happens on this one thread inside the loop.
namespace tessary {

// Set when the quit command passes through the command handler, its only writer. Nothing reads it.
extern bool gQuitRequested;

// Makes the interface, installs the handlers and runs the event loop until the user quits. Answers
// noErr when the loop has ended; else the status with which the forms could not be opened or the
// main window not be made, and the loop has not run. gWindowSystem is set before.
//
// The engine's hooks for texts and for runs are the shell's while this runs; an observer of items
// that the program's front has supplied stays. The front keeps the applications that answer Apple
// events, and the information of the main bundle, to itself.
Status RunApplication();

// Lets the window show what has changed, in the middle of a run too. Delivers nothing.
void PumpEvents();

// Has the program say "Bye." in one second, fade out and end.
void InstallQuitTimer();

}  // namespace tessary
