#include "platform/managers/apple_event_handlers.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tessary::test {
namespace {

constexpr AEEventClass kClass = FourCharCode("test");
constexpr AEEventID kKnown = FourCharCode("know");

// Queues the events that this process sends to itself until DeliverAll().
class EventToSelf : public testing::Test {
 protected:
  EventToSelf() {
    AESetEventLoop([this](std::function<void()> deliver) {
      if (loopStatus_ == noErr) pending_.push_back(std::move(deliver));
      return loopStatus_;
    });
  }
  ~EventToSelf() override { AESetEventLoop({}); }

  void DeliverAll() {
    for (const std::function<void()>& deliver : std::exchange(pending_, {})) deliver();
  }

  // Makes an event for the address.
  static AppleEvent EventFor(DescType addressType, const void* data, size_t size,
                             AEEventID id = kKnown) {
    AEDesc address;
    AppleEvent event;
    EXPECT_EQ(noErr, AECreateDesc(addressType, data, size, &address));
    EXPECT_EQ(noErr, AECreateAppleEvent(kClass, id, address, kAutoGenerateReturnID,
                                        kAnyTransactionID, &event));
    return event;
  }

  static AppleEvent EventForSelf(AEEventID id = kKnown) {
    constexpr ProcessSerialNumber kSelf = {.highLongOfPSN = 0, .lowLongOfPSN = kCurrentProcess};
    return EventFor(typeProcessSerialNumber, &kSelf, sizeof(kSelf), id);
  }

  static Status Send(const AppleEvent& event, AESendMode mode = AESendMode::kAENoReply) {
    AppleEvent reply;
    return AESend(event, &reply, mode, AESendPriority::kAENormalPriority, kAEDefaultTimeout,
                  nullptr, nullptr);
  }

  // Installs a handler that appends `name` and `refcon` to handled_.
  void InstallHandler(AEEventID id, const std::string& name, int32_t refcon = 0) {
    EXPECT_EQ(noErr, AEInstallEventHandler(
                         kClass, id,
                         [this, name](const AppleEvent&, AppleEvent* reply, int32_t constant) {
                           EXPECT_NE(nullptr, reply);
                           handled_.push_back(name + std::to_string(constant));
                           return noErr;
                         },
                         refcon, false));
  }

  std::vector<std::function<void()>> pending_;
  std::vector<std::string> handled_;
  Status loopStatus_ = noErr;
};

TEST_F(EventToSelf, CallsLastInstalledHandlerInOrder) {
  constexpr AEEventID kOther = FourCharCode("othr");
  InstallHandler(kKnown, "replaced");
  InstallHandler(kKnown, "known", 7);
  InstallHandler(kOther, "other");
  EXPECT_EQ(noErr, Send(EventForSelf()));
  EXPECT_EQ(noErr, Send(EventForSelf(kOther)));
  EXPECT_EQ(noErr, Send(EventForSelf()));
  EXPECT_TRUE(handled_.empty());
  DeliverAll();
  EXPECT_EQ((std::vector<std::string>{"known7", "other0", "known7"}), handled_);
}

TEST_F(EventToSelf, KeepsParameters) {
  int32_t number = 0;
  EXPECT_EQ(noErr, AEInstallEventHandler(
                       kClass, kKnown,
                       [&](const AppleEvent& event, AppleEvent*, int32_t) {
                         return AEGetParamPtr(event, keyDirectObject, typeSInt32, nullptr, &number,
                                              sizeof(number), nullptr);
                       },
                       0, false));
  AppleEvent event = EventForSelf();
  const int32_t sent = 42;
  AEDesc parameter;
  ASSERT_EQ(noErr, AECreateDesc(typeSInt32, &sent, sizeof(sent), &parameter));
  ASSERT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, parameter));
  EXPECT_EQ(noErr, Send(event));
  event = AppleEvent();
  DeliverAll();
  EXPECT_EQ(sent, number);
}

TEST_F(EventToSelf, DropsEventWithoutHandler) {
  EXPECT_EQ(noErr, Send(EventForSelf(FourCharCode("none"))));
  EXPECT_EQ(1U, pending_.size());
  DeliverAll();
  EXPECT_TRUE(handled_.empty());
}

TEST_F(EventToSelf, HandlerMayReplaceItself) {
  EXPECT_EQ(noErr, AEInstallEventHandler(
                       kClass, kKnown,
                       [this](const AppleEvent&, AppleEvent*, int32_t) {
                         InstallHandler(kKnown, "second");
                         handled_.emplace_back("first");
                         return noErr;
                       },
                       0, false));
  EXPECT_EQ(noErr, Send(EventForSelf()));
  EXPECT_EQ(noErr, Send(EventForSelf()));
  DeliverAll();
  EXPECT_EQ((std::vector<std::string>{"first", "second0"}), handled_);
}

TEST_F(EventToSelf, ReportsWhyEventIsNotDelivered) {
  EXPECT_EQ(paramErr, Send(EventForSelf(), AESendMode::kAEWaitReply));
  constexpr ProcessSerialNumber kOther = {.highLongOfPSN = 0, .lowLongOfPSN = 5};
  EXPECT_EQ(errAEUnknownAddressType,
            Send(EventFor(typeProcessSerialNumber, &kOther, sizeof(kOther))));
  EXPECT_EQ(errAEUnknownAddressType,
            Send(EventFor(typeProcessSerialNumber, &kOther, sizeof(uint32_t))));
  loopStatus_ = memFullErr;
  EXPECT_EQ(memFullErr, Send(EventForSelf()));
  AESetEventLoop({});
  EXPECT_EQ(procNotFound, Send(EventForSelf()));
  EXPECT_TRUE(pending_.empty());
}

TEST(AEInstallEventHandler, RejectsNullAndSystemHandlers) {
  const AEEventHandler handler = [](const AppleEvent&, AppleEvent*, int32_t) { return noErr; };
  EXPECT_EQ(paramErr, AEInstallEventHandler(kClass, kKnown, {}, 0, false));
  EXPECT_EQ(paramErr, AEInstallEventHandler(kClass, kKnown, handler, 0, true));
}

}  // namespace
}  // namespace tessary::test
