#include "tests/support/recording_window_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/support/four_characters.h"

namespace tessary::test {
namespace {

// The Help menu already has one item.
constexpr uint16_t kFirstFreeHelpItem = 2;

std::string FirstDigits(double number) {
  std::string digits = std::to_string(number);
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.ends_with('.')) digits.pop_back();
  return digits;
}

}  // namespace

RecordingWindowSystem::RecordingWindowSystem() : helpMenu_(this) { gWindowSystem = this; }

RecordingWindowSystem::~RecordingWindowSystem() {
  gWindowSystem = nullptr;
  // The destructor of a nib removes it from the set.
  while (!nibs_.empty()) delete *nibs_.begin();
}

std::vector<std::string> RecordingWindowSystem::TakeCalls() { return std::exchange(calls_, {}); }

Status RecordingWindowSystem::Record(const std::string& call) {
  if (hasEnded_) return noErr;
  calls_.push_back(call);
  if (whenCalled) whenCalled(call);
  const auto failure = failures_.find(call);
  return failure == failures_.end() ? noErr : failure->second;
}

bool RecordingWindowSystem::FireTimer() {
  if (timers_.empty()) return false;
  const Timer timer = std::move(timers_.front());
  timers_.erase(timers_.begin());
  now_ = std::max(now_, timer.due);
  timer.routine();
  return true;
}

void RecordingWindowSystem::FireTimers() {
  while (FireTimer()) continue;
}

std::vector<double> RecordingWindowSystem::TimerDelays() const {
  std::vector<double> delays(timers_.size());
  std::ranges::transform(timers_, delays.begin(), &Timer::delay);
  return delays;
}

Status RecordingWindowSystem::SendCommand(OSType command, const EventTarget* first) const {
  const Event event = {
      .eventClass = kEventClassCommand,
      .eventKind = kEventCommandProcess,
      .parameters = {{kEventParamDirectObject, HICommand{.commandID = command}}},
  };
  const Status status = first != nullptr ? first->Send(event) : eventNotHandledErr;
  return status == eventNotHandledErr ? applicationTarget_.Send(event) : status;
}

Status RecordingWindowSystem::PerformService(const std::optional<std::string>& message,
                                             const std::optional<Pasteboard>& pasteboard) const {
  Event event = {
      .eventClass = kEventClassService, .eventKind = kEventServicePerform, .parameters = {}};
  if (message) event.parameters[kEventParamServiceMessageName] = *message;
  if (pasteboard) {
    event.parameters[kEventParamPasteboardRef] = std::make_shared<const Pasteboard>(*pasteboard);
  }
  return applicationTarget_.Send(event);
}

RecordingWindow& RecordingWindowSystem::WindowNamed(const std::string& name) const {
  return *windows_.at(name);
}

void RecordingWindowSystem::LoadApplication() { (void)Record("LoadApplication"); }
void RecordingWindowSystem::UpdateDynamicServices() { (void)Record("UpdateDynamicServices"); }

Status RecordingWindowSystem::CreateNibReference(const std::string& name,
                                                 std::unique_ptr<Nib>* nib) {
  const Status status = Record("CreateNibReference " + name);
  if (status != noErr) return status;
  auto made = std::make_unique<RecordingNib>(this, name);
  nibs_.insert(made.get());
  *nib = std::move(made);
  return noErr;
}

void RecordingWindowSystem::SetMenuBar() { (void)Record("SetMenuBar"); }

void RecordingWindowSystem::EnableMenuCommand(OSType commandID) {
  (void)Record("EnableMenuCommand " + FourCharacters(commandID));
}

Status RecordingWindowSystem::GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) {
  const Status status = Record("GetHelpMenu");
  if (status != noErr) return status;
  *menu = &helpMenu_;
  *firstFreeItem = kFirstFreeHelpItem;
  return noErr;
}

EventTarget RecordingWindowSystem::GetApplicationEventTarget() {
  (void)Record("GetApplicationEventTarget");
  return applicationTarget_;
}

void RecordingWindowSystem::RunApplicationEventLoop() {
  (void)Record("RunApplicationEventLoop");
  if (duringEventLoop) duringEventLoop();
  FireTimers();
}

Status RecordingWindowSystem::InstallEventLoopTimer(double delay, std::function<void()> routine) {
  const Status status = Record("InstallTimer " + FirstDigits(delay));
  if (status != noErr) return status;
  Timer timer = {.due = now_ + delay, .delay = delay, .routine = std::move(routine)};
  const auto later = std::ranges::upper_bound(timers_, timer.due, {}, &Timer::due);
  timers_.insert(later, std::move(timer));
  return noErr;
}

void RecordingWindowSystem::RefuseRequests() { (void)Record("RefuseRequests"); }

void RecordingWindowSystem::PumpEvents() { (void)Record("PumpEvents"); }
void RecordingWindowSystem::BringApplicationToFront() { (void)Record("BringApplicationToFront"); }
void RecordingWindowSystem::Beep() { (void)Record("Beep"); }

void RecordingWindowSystem::ExitToShell() {
  (void)Record("ExitToShell");
  hasEnded_ = true;
  throw ProcessEnd();
}

std::optional<std::string> RecordingWindowSystem::RunOpenPanel(const NSOpenPanel& panel) {
  panels_.push_back(panel);
  (void)Record("RunOpenPanel \"" + panel.message + "\"");
  if (panelAnswers_.empty()) return std::nullopt;
  std::optional<std::string> answer = std::move(panelAnswers_.front());
  panelAnswers_.pop_front();
  return answer;
}

Status RecordingWindowSystem::OpenFolder(const std::string& path) {
  return Record("OpenFolder " + path);
}

void RecordingWindowSystem::OpenPage(const std::string& url) { (void)Record("OpenPage " + url); }

}  // namespace tessary::test
