#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/apple_events.h"
#include "tests/support/apple_events.h"
#include "tests/support/fault_injection/failing_allocations.h"

namespace tessary::test {
namespace {

constexpr uint32_t kReceiver = FourCharCode("Test");
constexpr uint32_t kOtherSignature = FourCharCode("Othr");

AppleEvent MakeGetDataEvent(AEEventID id = kAEGetData, uint32_t signature = kReceiver) {
  AppleEvent event;
  EXPECT_EQ(noErr, AECreateAppleEvent(kAECoreSuite, id, MakeCode(typeApplSignature, signature), 77,
                                      5, &event));
  return event;
}

Status Send(const AppleEvent& event, AESendMode mode, AppleEvent* reply, AEIdleUPP idle = nullptr,
            int32_t timeout = kNoTimeOut) {
  return AESend(event, reply, mode, AESendPriority::kAENormalPriority, timeout, idle, nullptr);
}

int gIdleCalls = 0;
int gMaxIdleCalls = 0;

// Counts the call and requests no sleep.
bool CountIdle(int32_t* sleepTime, RgnHandle* mouseRegion) {
  ++gIdleCalls;
  *sleepTime = 0;
  *mouseRegion = nullptr;
  return false;
}

bool CountIdleAndCancel(int32_t* sleepTime, RgnHandle* mouseRegion) {
  (void)CountIdle(sleepTime, mouseRegion);
  return gIdleCalls == gMaxIdleCalls;
}

class AESendTest : public testing::Test {
 protected:
  AESendTest() { gIdleCalls = 0; }

  AppleEvent reply_ = MakeShort(9);
};

TEST_F(AESendTest, ReportsUnknownSignature) {
  const AnsweringApplication other(kOtherSignature,
                                   [](const AppleEvent&, AppleEvent*) { return true; });
  EXPECT_EQ(procNotFound, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ(procNotFound, Send(MakeGetDataEvent(), AESendMode::kAENoReply, &reply_));
  EXPECT_EQ("shor[09 00]", Describe(reply_));
  EXPECT_EQ(0, gIdleCalls);
}

TEST_F(AESendTest, RejectsOtherAddressTypes) {
  AppleEvent event;
  ASSERT_EQ(noErr, AECreateAppleEvent(kAECoreSuite, kAEGetData, MakeShort(1), 1, 0, &event));
  EXPECT_EQ(errAEUnknownAddressType, Send(event, AESendMode::kAEWaitReply, &reply_));
  AEDesc shortSignature = MakeShort(1);
  shortSignature.descriptorType = typeApplSignature;
  ASSERT_EQ(noErr, AECreateAppleEvent(kAECoreSuite, kAEGetData, shortSignature, 1, 0, &event));
  EXPECT_EQ(errAEUnknownAddressType, Send(event, AESendMode::kAEWaitReply, &reply_));
  EXPECT_EQ(paramErr, Send(AppleEvent(), AESendMode::kAEWaitReply, &reply_));
  EXPECT_EQ(paramErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, nullptr));
  EXPECT_EQ("shor[09 00]", Describe(reply_));
}

TEST_F(AESendTest, ImmediateReplyNeedsNoIdleCall) {
  std::string received;
  const AnsweringApplication application(
      kReceiver, [&received](const AppleEvent& event, AppleEvent* reply) {
        received = DescribeAttributes(event);
        return AEPutParamDesc(reply, keyDirectObject, MakeShort(3)) == noErr;
      });
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ("aevt{----=shor[03 00]}", Describe(reply_));
  EXPECT_EQ(DescribeAttributes(MakeGetDataEvent()), received);
  EXPECT_EQ(0, gIdleCalls);
}

TEST_F(AESendTest, ReplyHasIDsOfEvent) {
  const AnsweringApplication application(kReceiver,
                                         [](const AppleEvent&, AppleEvent*) { return true; });
  ASSERT_EQ(noErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ(
      "{evcl=type[74 76 65 61] evid=type[72 73 6e 61] addr=null[] rtid=long[4d 00 00 00] "
      "tran=long[05 00 00 00]}",
      DescribeAttributes(reply_));
}

TEST_F(AESendTest, CallsIdleRoutineWhileWaiting) {
  int polls = 0;
  const AnsweringApplication application(kReceiver, [&polls](const AppleEvent&, AppleEvent* reply) {
    if (++polls <= 1000) return false;
    return AEPutParamDesc(reply, keyDirectObject, MakeShort(3)) == noErr;
  });
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ("aevt{----=shor[03 00]}", Describe(reply_));
  EXPECT_EQ(1000, gIdleCalls);
}

TEST_F(AESendTest, WaitsWithoutIdleRoutine) {
  int polls = 0;
  const AnsweringApplication application(
      kReceiver, [&polls](const AppleEvent&, AppleEvent*) { return ++polls == 3; });
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_));
  EXPECT_EQ(3, polls);
}

TEST_F(AESendTest, TimesOut) {
  const AnsweringApplication application(kReceiver,
                                         [](const AppleEvent&, AppleEvent*) { return false; });
  EXPECT_EQ(errAETimeout,
            Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle, 2));
  EXPECT_EQ(errAETimeout, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, nullptr, 1));
  EXPECT_EQ("shor[09 00]", Describe(reply_));
}

TEST_F(AESendTest, IdleRoutineCancels) {
  const AnsweringApplication application(kReceiver,
                                         [](const AppleEvent&, AppleEvent*) { return false; });
  gMaxIdleCalls = 5;
  EXPECT_EQ(errAEWaitCanceled,
            Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdleAndCancel));
  EXPECT_EQ(5, gIdleCalls);
  EXPECT_EQ("shor[09 00]", Describe(reply_));
}

TEST_F(AESendTest, ReportsRemovedApplication) {
  int polls = 0;
  RegisterAnsweringApplication(kReceiver, [&polls](const AppleEvent&, AppleEvent*) {
    if (++polls == 3) RemoveAnsweringApplication(kReceiver);
    return false;
  });
  EXPECT_EQ(connectionInvalid,
            Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ(procNotFound, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ("shor[09 00]", Describe(reply_));
}

TEST_F(AESendTest, PassesNullReply) {
  const AnsweringApplication application(kReceiver, [](const AppleEvent&, AppleEvent* reply) {
    *reply = AppleEvent();
    return true;
  });
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ("null[]", Describe(reply_));
}

// Records the events in the order in which it answers them, and leaves the first `pollsLeft` polls
// unanswered.
class SlowApplication {
 public:
  SlowApplication()
      : registration_(kReceiver,
                      [this](const AppleEvent& event, AppleEvent*) { return Answer(event); }) {}

  int pollsLeft = 0;
  std::vector<AEEventID> answered = {};

 private:
  bool Answer(const AppleEvent& event) {
    if (pollsLeft-- > 0) return false;
    AEDesc id;
    EXPECT_EQ(noErr, AEGetAttributeDesc(event, keyEventIDAttr, typeType, &id));
    AEEventID code = 0;
    EXPECT_EQ(noErr, AEGetDescData(id, &code, sizeof(code)));
    answered.push_back(code);
    return true;
  }

  const AnsweringApplication registration_;
};

TEST_F(AESendTest, NoReplyDoesNotWait) {
  SlowApplication application;
  application.pollsLeft = 1;
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(1), AESendMode::kAENoReply, &reply_, CountIdle));
  EXPECT_EQ("null[]", Describe(reply_));
  EXPECT_EQ(0, gIdleCalls);
  EXPECT_TRUE(application.answered.empty());
}

TEST_F(AESendTest, KeepsOrder) {
  SlowApplication application;
  application.pollsLeft = 4;
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(1), AESendMode::kAENoReply, &reply_));
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(2), AESendMode::kAENoReply, &reply_));
  EXPECT_TRUE(application.answered.empty());
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(3), AESendMode::kAEWaitReply, &reply_, CountIdle));
  EXPECT_EQ((std::vector<AEEventID>{1, 2, 3}), application.answered);
  EXPECT_EQ(2, gIdleCalls);
}

TEST_F(AESendTest, ApplicationMaySendWhileAnswering) {
  SlowApplication application;
  std::optional<Status> toSelf;
  std::optional<Status> toOther;
  const AnsweringApplication other(kOtherSignature, [&](const AppleEvent&, AppleEvent*) {
    AppleEvent reply;
    if (!toSelf)
      toSelf = Send(MakeGetDataEvent(8, kOtherSignature), AESendMode::kAENoReply, &reply);
    toOther = Send(MakeGetDataEvent(4), AESendMode::kAEWaitReply, &reply, CountIdle);
    return true;
  });
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(7, kOtherSignature), AESendMode::kAEWaitReply, &reply_,
                        CountIdle));
  EXPECT_EQ(noErr, toSelf);
  EXPECT_EQ(noErr, toOther);
  EXPECT_EQ((std::vector<AEEventID>{4, 4}), application.answered);
}

TEST_F(AESendTest, LaterRegistrationReplacesEarlier) {
  int first = 0;
  const AnsweringApplication former(kReceiver, [&first](const AppleEvent&, AppleEvent*) {
    ++first;
    return true;
  });
  const SlowApplication latter;
  EXPECT_EQ(noErr, Send(MakeGetDataEvent(1), AESendMode::kAEWaitReply, &reply_));
  EXPECT_EQ(0, first);
  EXPECT_EQ(1U, latter.answered.size());
}

TEST_F(AESendTest, OutOfMemory) {
  const AnsweringApplication application(
      kReceiver, [](const AppleEvent& /*event*/, AppleEvent* /*reply*/) { return true; });
  AppleEvent event;
  ASSERT_EQ(noErr, AEBuildAppleEvent(kAECoreSuite, kAEGetData, typeApplSignature, &kReceiver,
                                     sizeof(kReceiver), 1, 0, "", {}, &event));
  AppleEvent reply;
  ExpectMemFullOnFailedAllocations(
      [&] {
        return AESend(event, &reply, AESendMode::kAEWaitReply, AESendPriority::kAENormalPriority,
                      kNoTimeOut, nullptr, nullptr);
      },
      [&] { EXPECT_EQ(typeNull, reply.descriptorType); });
  EXPECT_EQ(typeAppleEvent, reply.descriptorType);
}

}  // namespace
}  // namespace tessary::test
