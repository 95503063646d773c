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

// Thrown where the process would end at once.
struct ProcessEnd {};

// A window system without a screen: it remembers every call in order, as a line, answers as it was
// told to, and has its user's deeds done by the test. It is the program's while it lives.
class RecordingWindowSystem : public WindowSystem {
 public:
  RecordingWindowSystem();
  ~RecordingWindowSystem() override;
  RecordingWindowSystem(const RecordingWindowSystem&) = delete;
  RecordingWindowSystem& operator=(const RecordingWindowSystem&) = delete;

  // ---- The record ----

  // The lines since the last call of this.
  std::vector<std::string> TakeCalls();

  // Called with each line as it is recorded.
  std::function<void(const std::string& call)> whenCalled;

  // Records a line and answers as FailCall has it, noErr otherwise.
  Status Record(const std::string& call);

  // ---- What is to be answered ----

  // Has the call that is recorded by this line answer the status, and do nothing else.
  void FailCall(const std::string& call, Status status) { failures_[call] = status; }

  // Has the next panel that is not answered yet yield the path, or be cancelled, as are those that
  // nothing was told about.
  void AnswerPanel(const std::optional<std::string>& path) { panelAnswers_.push_back(path); }

  // The panels that were run, as they were set.
  const std::vector<NSOpenPanel>& Panels() const { return panels_; }

  // What happens in the event loop before its timers fire.
  std::function<void()> duringEventLoop;

  // ---- What a user and other programs do ----

  // Fires the timer that is due next. False where there is none.
  bool FireTimer();

  // Fires timers until none is left.
  void FireTimers();

  // The delays of the timers that have not fired, the next one first.
  std::vector<double> TimerDelays() const;

  // Sends a command to the target, if any, and, where that lets it pass, to the application.
  Status SendCommand(OSType command, const EventTarget* first = nullptr) const;

  // Asks for a service of the items on a pasteboard; of none where there is no pasteboard.
  Status PerformService(const std::optional<std::string>& message,
                        const std::optional<Pasteboard>& pasteboard) const;

  // The open window made of that form; fails the test where there is none.
  RecordingWindow& WindowNamed(const std::string& name) const;
  bool HasWindow(const std::string& name) const { return windows_.contains(name); }
  RecordingMenu& HelpMenu() { return helpMenu_; }

  // ---- The managers ----

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
  void BringApplicationToFront() override;
  void Beep() override;
  [[noreturn]] void ExitToShell() override;
  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override;
  Status OpenFolder(const std::string& path) override;
  void OpenPage(const std::string& url) override;
  std::string ProductPageURL() override { return "file:///usr/share/doc/tessary/index.html"; }

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
  std::vector<Timer> timers_;  // those due first stand first
  double now_ = 0;
  bool hasEnded_ = false;
  std::map<std::string, RecordingWindow*> windows_;
  std::set<RecordingNib*> nibs_;  // not disposed of
  RecordingMenu helpMenu_;
  EventTarget applicationTarget_;
};

}  // namespace tessary::test
