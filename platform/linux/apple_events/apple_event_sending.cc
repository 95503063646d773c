#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "platform/linux/apple_events/apple_event_handlers.h"
#include "platform/managers/apple_events.h"

namespace tessary {
namespace {

using Clock = std::chrono::steady_clock;
using Ticks = std::chrono::duration<int32_t, std::ratio<1, 60>>;

constexpr Ticks kDefaultTimeout = std::chrono::minutes(1);

// The time between two polls for the reply if no idle routine sets it.
constexpr int32_t kDefaultPollTicks = 1;

// An event that was sent. The application shares it with the sender, whose wait may have timed out.
struct PendingEvent {
  AppleEvent event;
  AppleEvent reply;
  bool isAnswered = false;
};

// An application and the events that it has not answered yet, oldest first.
struct Application {
  AEAnswerer answerer;
  std::deque<std::shared_ptr<PendingEvent>> waiting = {};
  bool isAnswering = false;
  bool isGone = false;
};

// Shared with each send in progress, because an application may be removed while it answers.
using ApplicationHandle = std::shared_ptr<Application>;

std::map<uint32_t, ApplicationHandle>& Applications() {
  static std::map<uint32_t, ApplicationHandle> applications;
  return applications;
}

// Passes the waiting events to the application in order, until it leaves one unanswered. An event
// that the application sends to itself while it answers is delivered after that answer.
void DeliverPendingEvents(Application* application) {
  if (application->isAnswering) return;
  application->isAnswering = true;
  while (!application->isGone && !application->waiting.empty()) {
    // Stays in the queue until it is answered, so that an application that leaves it unanswered
    // gets it again, first, at the sender's next poll.
    const std::shared_ptr<PendingEvent> sent = application->waiting.front();
    if (!application->answerer(sent->event, &sent->reply)) break;
    sent->isAnswered = true;
    application->waiting.pop_front();
  }
  application->isAnswering = false;
}

Status FindApplication(const AppleEvent& event, ApplicationHandle* application) {
  AEDesc address;
  Status status = AEGetAttributeDesc(event, keyAddressAttr, typeWildCard, &address);
  if (status != noErr) return status == errAEDescNotFound ? paramErr : status;
  uint32_t signature = 0;
  if (address.descriptorType != typeApplSignature || address.bytes.size() != sizeof(signature)) {
    return errAEUnknownAddressType;
  }
  std::memcpy(&signature, address.bytes.data(), sizeof(signature));
  const auto found = Applications().find(signature);
  if (found == Applications().end()) return procNotFound;
  *application = found->second;
  return noErr;
}

// Makes an empty reply with the return ID and transaction ID of the event.
Status MakeReply(const AppleEvent& event, AppleEvent* reply) {
  AppleEvent made;
  const Status status =
      AECreateAppleEvent(kCoreEventClass, kAEAnswer, AEDesc(), 0, kAnyTransactionID, &made);
  if (status != noErr) return status;
  for (AEKeyDesc& attribute : made.attributes) {
    if (attribute.keyword != keyReturnIDAttr && attribute.keyword != keyTransactionIDAttr) continue;
    const Status copied =
        AEGetAttributeDesc(event, attribute.keyword, typeSInt32, &attribute.value);
    if (copied != noErr) return copied;
  }
  *reply = std::move(made);
  return noErr;
}

Clock::time_point After(Ticks ticks) {
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(ticks);
}

std::optional<Clock::time_point> Deadline(int32_t timeoutTicks) {
  if (timeoutTicks == kNoTimeOut) return std::nullopt;
  const Ticks timeout = timeoutTicks == kAEDefaultTimeout ? kDefaultTimeout : Ticks(timeoutTicks);
  return After(timeout);
}

// Sleeps without regard to the answer: applications answer on the sender's own thread, so none can
// come during the pause.
void SleepTicks(int32_t ticks, const std::optional<Clock::time_point>& deadline) {
  if (ticks <= 0) return;
  const Clock::time_point wake = After(Ticks(ticks));
  std::this_thread::sleep_until(deadline ? std::min(wake, *deadline) : wake);
}

Status WaitForAnswer(Application* application, const PendingEvent& sent, int32_t timeoutTicks,
                     AEIdleUPP idle) {
  // Before the first look at the clock: an application that answers at once is never too late, and
  // the idle routine is not called.
  DeliverPendingEvents(application);
  const std::optional<Clock::time_point> deadline = Deadline(timeoutTicks);
  while (!sent.isAnswered) {
    if (application->isGone) return connectionInvalid;
    if (deadline && Clock::now() >= *deadline) return errAETimeout;
    int32_t sleepTime = kDefaultPollTicks;
    RgnHandle mouseRegion = nullptr;
    if (idle != nullptr && idle(&sleepTime, &mouseRegion)) return errAEWaitCanceled;
    SleepTicks(sleepTime, deadline);
    DeliverPendingEvents(application);
  }
  return noErr;
}

}  // namespace

Status AESend(const AppleEvent& event, AppleEvent* reply, AESendMode mode, AESendPriority,
              int32_t timeoutTicks, AEIdleUPP idle, AEFilterUPP) {
  if (reply == nullptr) return paramErr;
  try {
    // An event to the sender itself waits for the event loop, which does not run before the sender
    // returns. Waiting for its reply would never end.
    if (IsForThisProcess(event)) {
      if (mode != AESendMode::kAENoReply) return paramErr;
      const Status posted = PostToEventLoop(event);
      if (posted == noErr) *reply = AppleEvent();
      return posted;
    }
    ApplicationHandle application;
    Status status = FindApplication(event, &application);
    if (status != noErr) return status;
    const auto sent = std::make_shared<PendingEvent>();
    sent->event = AppleEvent(event);
    status = MakeReply(event, &sent->reply);
    if (status != noErr) return status;
    application->waiting.push_back(sent);
    if (mode == AESendMode::kAENoReply) {
      DeliverPendingEvents(application.get());
      *reply = AppleEvent();
      return noErr;
    }
    // A sender that stops waiting leaves its event queued: the application may be about to answer
    // it.
    status = WaitForAnswer(application.get(), *sent, timeoutTicks, idle);
    if (status == noErr) *reply = std::move(sent->reply);
    return status;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

void RegisterAnsweringApplication(uint32_t signature, AEAnswerer answerer) {
  // Ends waits for the previous application of this signature with connectionInvalid.
  RemoveAnsweringApplication(signature);
  const auto application = std::make_shared<Application>();
  application->answerer = std::move(answerer);
  Applications()[signature] = application;
}

void RemoveAnsweringApplication(uint32_t signature) {
  const auto found = Applications().find(signature);
  if (found == Applications().end()) return;
  found->second->isGone = true;
  Applications().erase(found);
}

}  // namespace tessary
