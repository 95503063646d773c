#pragma once

#include <cstdint>
#include <functional>

#include "platform/managers/apple_events.h"

// The Apple events that this process handles itself, and how it sends one to itself.
namespace tessary {

// The data of typeProcessSerialNumber.
struct ProcessSerialNumber {
  uint32_t highLongOfPSN = 0;
  uint32_t lowLongOfPSN = 0;
};

// The low word that, with 0 as the high one, stands for this process.
inline constexpr uint32_t kCurrentProcess = 2;

using AEEventHandler =
    std::function<Status(const AppleEvent& event, AppleEvent* reply, int32_t refcon)>;

// Installs the handler of the events of a class and id, in place of the one before; it is given the
// reference constant with each. A system handler would be asked for the events of every program:
// there are none here. Answers noErr, paramErr (no handler, or a system handler).
Status AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandler handler,
                             int32_t refcon, bool isSystemHandler);

// Runs what it is given once, when the event loop comes round. Answers noErr, or why it never will.
using AEEventLoop = std::function<Status(std::function<void()> deliver)>;

// Supplies the loop through which this process gets the events that it sends to itself; an empty
// one takes it away. An event without a handler is dropped, and its sender, who does not wait, is
// told nothing.
void AESetEventLoop(AEEventLoop loop);

}  // namespace tessary
