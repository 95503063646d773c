#pragma once

#include "platform/managers/apple_event_handlers.h"

namespace tessary {

// True when the event's address is this process's ProcessSerialNumber.
bool IsForThisProcess(const AppleEvent& event);

// Has the event loop bring the event to its handler. Answers noErr, procNotFound (no loop), or what
// the loop answers.
Status PostToEventLoop(const AppleEvent& event);

}  // namespace tessary
