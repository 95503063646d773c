#pragma once

#include "platform/managers/apple_event_handlers.h"

namespace tessary {

// Returns true if the event is addressed to this process by ProcessSerialNumber.
bool IsForThisProcess(const AppleEvent& event);

// Queues the event for its handler on the event loop. Returns noErr, procNotFound (no loop), or the
// status of the loop.
Status PostToEventLoop(const AppleEvent& event);

}  // namespace tessary
