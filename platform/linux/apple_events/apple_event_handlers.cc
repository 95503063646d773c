#include "platform/linux/apple_events/apple_event_handlers.h"

#include <cstring>
#include <map>
#include <utility>

namespace tessary {
namespace {

using EventKey = std::pair<AEEventClass, AEEventID>;

struct InstalledHandler {
  AEEventHandler handler;
  int32_t refcon = 0;
};

struct SelfDelivery {
  std::map<EventKey, InstalledHandler> handlers;
  AEEventLoop loop;
};

SelfDelivery& Delivery() {
  static SelfDelivery delivery;
  return delivery;
}

bool GetCodeAttribute(const AppleEvent& event, AEKeyword keyword, uint32_t* code) {
  AEDesc value;
  if (AEGetAttributeDesc(event, keyword, typeType, &value) != noErr) return false;
  return AEGetDescData(value, code, sizeof(*code)) == noErr;
}

void Deliver(const AppleEvent& event) {
  EventKey key;
  if (!GetCodeAttribute(event, keyEventClassAttr, &key.first) ||
      !GetCodeAttribute(event, keyEventIDAttr, &key.second)) {
    return;
  }
  const auto found = Delivery().handlers.find(key);
  if (found == Delivery().handlers.end()) return;
  // Copied, because a handler may replace itself while it runs.
  const InstalledHandler installed = found->second;
  AppleEvent reply;
  // The sender does not wait for a reply, so nobody can use the status.
  (void)installed.handler(event, &reply, installed.refcon);
}

}  // namespace

Status AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandler handler,
                             int32_t refcon, bool isSystemHandler) {
  if (!handler || isSystemHandler) return paramErr;
  Delivery().handlers[{eventClass, eventID}] = {.handler = std::move(handler), .refcon = refcon};
  return noErr;
}

void AESetEventLoop(AEEventLoop loop) { Delivery().loop = std::move(loop); }

bool IsForThisProcess(const AppleEvent& event) {
  AEDesc address;
  if (AEGetAttributeDesc(event, keyAddressAttr, typeProcessSerialNumber, &address) != noErr) {
    return false;
  }
  ProcessSerialNumber number;
  if (address.bytes.size() != sizeof(number)) return false;
  std::memcpy(&number, address.bytes.data(), sizeof(number));
  return number.highLongOfPSN == 0 && number.lowLongOfPSN == kCurrentProcess;
}

Status PostToEventLoop(const AppleEvent& event) {
  if (!Delivery().loop) return procNotFound;
  // The event is copied: the sender's one may be gone when the loop delivers it. The handler is
  // looked up then, so that one installed after the event was sent still gets it.
  return Delivery().loop([event] { Deliver(event); });
}

}  // namespace tessary
