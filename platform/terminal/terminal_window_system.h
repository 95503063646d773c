#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/managers/window_system.h"
#include "platform/terminal/status_line.h"

namespace tessary {

// The window managers where there is no window: over a terminal, or over nothing at all. Every form
// can be opened and has every control, and nobody sees them but for two of the form "MainWindow":
// while its activity indicator (2) is shown there is a status line, with the text of its status
// text (1) from each pump on. There are no menus, and nobody is there to choose, drop or be shown
// anything: panels are answered by the program's front, and opening, beeping and fading do nothing.
class TerminalWindowSystem : public WindowSystem {
 public:
  using Time = StatusLine::Time;

  // `now` tells the time.
  explicit TerminalWindowSystem(std::function<Time()> now = std::chrono::steady_clock::now)
      : now_(std::move(now)) {}

  // Has panels answered by `answer`, with the path that is chosen or none. Without it they are
  // cancelled.
  void AnswerPanels(std::function<std::optional<std::string>()> answer) {
    answerPanel_ = std::move(answer);
  }

  // One more item of the run has been handled.
  void CountItem() {
    if (statusLine_) statusLine_->CountItem();
  }

  // How long the activity indicator was shown when it was last, in seconds; none while it has not
  // been hidden again.
  std::optional<double> BusySeconds() const { return busySeconds_; }

  // The status text as it was set last.
  const std::string& StatusText() const { return statusText_; }

  // For the two controls.
  void SetBusy(bool isBusy);
  void SetStatusText(const std::string& text) { statusText_ = text; }

  void LoadApplication() override {}
  void UpdateDynamicServices() override {}
  Status CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) override;
  void SetMenuBar() override {}
  void EnableMenuCommand(OSType) override {}
  Status GetHelpMenu(MenuRef*, uint16_t*) override { return fnfErr; }
  EventTarget GetApplicationEventTarget() override { return applicationTarget_; }

  // Runs the timers in the order in which they are due, and waits for none: nothing else can happen
  // before it. Returns when none is left.
  void RunApplicationEventLoop() override;
  Status InstallEventLoopTimer(double delay, std::function<void()> routine) override;

  void PumpEvents() override {
    if (statusLine_) statusLine_->ShowText(statusText_);
  }
  void BringApplicationToFront() override {}
  void Beep() override {}
  [[noreturn]] void ExitToShell() override;
  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override;
  Status OpenFolder(const std::string&) override { return noErr; }
  void OpenPage(const std::string&) override {}
  std::string ProductPageURL() override { return {}; }

 private:
  const std::function<Time()> now_;
  std::function<std::optional<std::string>()> answerPanel_;
  std::string statusText_;
  std::optional<StatusLine> statusLine_;  // while busy
  Time busySince_;
  std::optional<double> busySeconds_;
  std::multimap<double, std::function<void()>> timers_;  // by the loop's time at which they are due
  double loopTime_ = 0;                                  // seconds
  EventTarget applicationTarget_;
};

}  // namespace tessary
