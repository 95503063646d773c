#pragma once

#include <cstdint>
#include <functional>

#include "platform/managers/apple_events.h"

// The handlers of the Apple events that this process sends to itself.
namespace tessary {

// The data of typeProcessSerialNumber.
struct ProcessSerialNumber {
  uint32_t highLongOfPSN = 0;
  uint32_t lowLongOfPSN = 0;
};

// The low word that designates this process; the high word is 0.
inline constexpr uint32_t kCurrentProcess = 2;

using AEEventHandler =
    std::function<Status(const AppleEvent& event, AppleEvent* reply, int32_t refcon)>;

// Installs the handler for one event class and id, in place of an earlier one. `refcon` is passed
// to every call of the handler. System handlers, which would receive the events of all programs,
// are not supported. Returns noErr; paramErr (an empty handler, or `isSystemHandler` is true).
Status AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandler handler,
                             int32_t refcon, bool isSystemHandler);

// Schedules `deliver` to run once, in a later iteration of the event loop. Returns noErr, or the
// reason why it will not run.
using AEEventLoop = std::function<Status(std::function<void()> deliver)>;

// Sets the event loop that delivers the events that this process sends to itself; an empty function
// removes it. An event without a handler is dropped; its sender is not notified, because it does
// not wait.
void AESetEventLoop(AEEventLoop loop);

}  // namespace tessary
