#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/managers/window_system.h"
#include "tests/support/recording_window.h"

namespace tessary::test {

// Thrown by ExitToShell, in place of ending the process.
struct ProcessEnd {};

// A window system without a screen. It records every call as a line, returns what the test sets,
// and lets the test act as the user. It is the program's window system until it is destroyed.
class RecordingWindowSystem : public WindowSystem {
 public:
  RecordingWindowSystem();
  ~RecordingWindowSystem() override;
  RecordingWindowSystem(const RecordingWindowSystem&) = delete;
  RecordingWindowSystem& operator=(const RecordingWindowSystem&) = delete;

  // ---- Recorded calls ----

  // The lines since the last TakeCalls.
  std::vector<std::string> TakeCalls();

  // Called with each line when it is recorded.
  std::function<void(const std::string& call)> whenCalled;

  // Records a line. Returns the status set by FailCall, or noErr.
  Status Record(const std::string& call);

  // ---- Results of calls ----

  // Makes the call that is recorded as this line return the status and do nothing else.
  void FailCall(const std::string& call, Status status) { failures_[call] = status; }

  // Sets the result of the next panel without one: the path, or none if it is cancelled. A panel
  // without a result is cancelled.
  void AnswerPanel(const std::optional<std::string>& path) { panelAnswers_.push_back(path); }

  // The panels that were run, with their settings.
  const std::vector<NSOpenPanel>& Panels() const { return panels_; }

  // Called in the event loop before its timers fire.
  std::function<void()> duringEventLoop;

  // ---- Actions of the user and of other programs ----

  // Fires the timer that is due next. Returns false if there is none.
  bool FireTimer();

  // Fires all timers, including those that they install.
  void FireTimers();

  // The delays of the timers that have not fired, the next timer first.
  std::vector<double> TimerDelays() const;

  // Sends a command to the target, if there is one, and if it does not handle it, to the
  // application.
  Status SendCommand(OSType command, const EventTarget* first = nullptr) const;

  // Requests a service for the items on the pasteboard, if there is one.
  Status PerformService(const std::optional<std::string>& message,
                        const std::optional<Pasteboard>& pasteboard) const;

  // The open window made from that form. Throws if there is none, which fails the test.
  RecordingWindow& WindowNamed(const std::string& name) const;
  bool HasWindow(const std::string& name) const { return windows_.contains(name); }
  RecordingMenu& HelpMenu() { return helpMenu_; }

  // ---- WindowSystem ----

  void LoadApplication() override;
  void UpdateDynamicServices() override;
  Status CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) override;
  void SetMenuBar() override;
  void EnableMenuCommand(OSType commandID) override;
  Status GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) override;
  EventTarget GetApplicationEventTarget() override;
  void RunApplicationEventLoop() override;
  Status InstallEventLoopTimer(double delay, std::function<void()> routine) override;
  void PumpEvents() override;
  void RefuseRequests() override;
  void BringApplicationToFront() override;
  void Beep() override;
  [[noreturn]] void ExitToShell() override;
  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override;
  Status OpenFolder(const std::string& path) override;
  void OpenPage(const std::string& url) override;
  std::string ProductPageURL() override { return "file:///usr/share/tessary/help/index.html"; }

 private:
  friend class RecordingWindow;
  friend class RecordingNib;

  struct Timer {
    double due;
    double delay;
    std::function<void()> routine;
  };

  std::vector<std::string> calls_;
  std::map<std::string, Status> failures_;
  std::deque<std::optional<std::string>> panelAnswers_;
  std::vector<NSOpenPanel> panels_;
  std::vector<Timer> timers_;  // in the order in which they are due
  double now_ = 0;
  bool hasEnded_ = false;
  std::map<std::string, RecordingWindow*> windows_;
  std::set<RecordingNib*> nibs_;  // not yet disposed of
  RecordingMenu helpMenu_;
  EventTarget applicationTarget_;
};

}  // namespace tessary::test
