#include "platform/terminal/terminal_window_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/pseudo_terminal.h"

namespace tessary::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr OSType kSignature = FourCharCode("CNTL");

// A terminal's window system with a clock that goes when it is told to.
class TerminalWindowSystemTest : public testing::Test {
 protected:
  std::unique_ptr<Window> MakeWindow(const std::string& name) {
    std::unique_ptr<Nib> nib;
    EXPECT_EQ(noErr, system_.CreateNibReference("main", &nib));
    std::unique_ptr<Window> window;
    EXPECT_EQ(noErr, nib->CreateWindow(name, &window));
    return window;
  }

  static Control& ControlOf(Window* window, int32_t id) {
    ControlRef control = nullptr;
    EXPECT_EQ(noErr, window->GetControlByID({.signature = kSignature, .id = id}, &control));
    return *control;
  }

  // Shows a text as the shell does.
  void ShowText(Window* window, int32_t id, const std::string& text) {
    ControlOf(window, id).SetText(text);
    ControlOf(window, id).Draw();
    system_.PumpEvents();
  }

  StatusLine::Time time_;
  TerminalWindowSystem system_{[this] { return time_; }};
};

// Windows and controls.

TEST_F(TerminalWindowSystemTest, OpensEveryForm) {
  for (const std::string name : {"main", "preferences"}) {
    std::unique_ptr<Nib> nib;
    EXPECT_EQ(noErr, system_.CreateNibReference(name, &nib));
    ASSERT_NE(nullptr, nib);
    std::unique_ptr<Window> window;
    EXPECT_EQ(noErr, nib->CreateWindow("PreferencesWindow", &window));
    EXPECT_NE(nullptr, window);
  }
}

TEST_F(TerminalWindowSystemTest, HasNoMenus) {
  std::unique_ptr<Nib> nib;
  ASSERT_EQ(noErr, system_.CreateNibReference("main", &nib));
  EXPECT_NE(noErr, nib->CreateMenuBar("MenuBar"));
  MenuRef menu = nullptr;
  uint16_t firstFreeItem = 7;
  EXPECT_NE(noErr, system_.GetHelpMenu(&menu, &firstFreeItem));
  EXPECT_EQ(nullptr, menu);
  EXPECT_EQ(7, firstFreeItem);
}

TEST_F(TerminalWindowSystemTest, ControlsKeepTheirValues) {
  for (const std::string name : {"MainWindow", "PreferencesWindow"}) {
    const std::unique_ptr<Window> window = MakeWindow(name);
    for (int32_t id = 1; id <= 8; ++id) {
      EXPECT_EQ(0, ControlOf(window.get(), id).GetValue());
      ControlOf(window.get(), id).SetValue(10 + id);
    }
    for (int32_t id = 1; id <= 8; ++id) {
      EXPECT_EQ(10 + id, ControlOf(window.get(), id).GetValue()) << name;
    }
  }
}

TEST_F(TerminalWindowSystemTest, RefusesControlsThatNoFormHas) {
  const std::unique_ptr<Window> window = MakeWindow("MainWindow");
  ControlRef control = nullptr;
  EXPECT_EQ(errUnknownControl,
            window->GetControlByID({.signature = FourCharCode("else"), .id = 1}, &control));
  EXPECT_EQ(nullptr, control);
  EXPECT_EQ(paramErr, window->GetControlByID({.signature = kSignature, .id = 1}, nullptr));
}

TEST_F(TerminalWindowSystemTest, WindowsTakeOneDragHandlerOfEachKind) {
  const std::unique_ptr<Window> window = MakeWindow("MainWindow");
  EXPECT_EQ(handlerNotFoundErr, window->RemoveTrackingHandler());
  EXPECT_EQ(noErr, window->InstallTrackingHandler({}));
  EXPECT_EQ(duplicateHandlerErr, window->InstallTrackingHandler({}));
  EXPECT_EQ(noErr, window->InstallReceiveHandler({}));
  EXPECT_EQ(duplicateHandlerErr, window->InstallReceiveHandler({}));
  EXPECT_EQ(noErr, window->RemoveTrackingHandler());
  EXPECT_EQ(noErr, window->InstallTrackingHandler({}));
}

TEST_F(TerminalWindowSystemTest, TargetsShareTheirHandlers) {
  const Event event = {
      .eventClass = kEventClassCommand, .eventKind = kEventCommandProcess, .parameters = {}};
  EXPECT_EQ(eventNotHandledErr, system_.GetApplicationEventTarget().Send(event));
  EXPECT_EQ(noErr,
            system_.GetApplicationEventTarget().InstallHandler(
                kEventClassCommand, kEventCommandProcess, [](const Event&) { return noErr; }));
  EXPECT_EQ(noErr, system_.GetApplicationEventTarget().Send(event));
}

// The loop.

TEST_F(TerminalWindowSystemTest, RunsTimersInOrderOfTheirTimesAndReturns) {
  std::vector<std::string> ran;
  const auto install = [&](double delay, const std::string& name) {
    EXPECT_EQ(noErr, system_.InstallEventLoopTimer(delay, [&ran, name] { ran.push_back(name); }));
  };
  install(1.0, "late");
  install(0.001, "soon");
  install(0.001, "soon too");
  install(0, "at once");
  system_.RunApplicationEventLoop();
  EXPECT_THAT(ran, ElementsAre("at once", "soon", "soon too", "late"));
  system_.RunApplicationEventLoop();
  EXPECT_EQ(4U, ran.size());
}

TEST_F(TerminalWindowSystemTest, ATimerCountsFromWhenItIsInstalled) {
  std::vector<std::string> ran;
  const auto install = [&](double delay, const std::string& name) {
    EXPECT_EQ(noErr, system_.InstallEventLoopTimer(delay, [&ran, name] { ran.push_back(name); }));
  };
  EXPECT_EQ(noErr, system_.InstallEventLoopTimer(2.0, [&] {
    install(2.0, "fourth second");
    install(0.5, "two and a half");
    ran.emplace_back("second");
  }));
  install(3.0, "third second");
  system_.RunApplicationEventLoop();
  EXPECT_THAT(ran, ElementsAre("second", "two and a half", "third second", "fourth second"));
}

TEST_F(TerminalWindowSystemTest, ReturnsAtOnceWithoutTimers) {
  system_.RunApplicationEventLoop();
  EXPECT_EQ("", system_.StatusText());
}

TEST_F(TerminalWindowSystemTest, EndsTheProcessWithStatusZero) {
  EXPECT_EXIT(system_.ExitToShell(), testing::ExitedWithCode(0), "^$");
}

// Panels and the workspace.

TEST_F(TerminalWindowSystemTest, PanelsAreAnsweredByTheFrontOrCancelled) {
  EXPECT_EQ(std::nullopt, system_.RunOpenPanel({}));
  int asked = 0;
  system_.AnswerPanels([&]() -> std::optional<std::string> {
    if (++asked == 1) return "/new\nline/caf\xe9";
    return std::nullopt;
  });
  EXPECT_THAT(system_.RunOpenPanel({}), Optional(std::string("/new\nline/caf\xe9")));
  EXPECT_EQ(std::nullopt, system_.RunOpenPanel({}));
  system_.AnswerPanels({});
  EXPECT_EQ(std::nullopt, system_.RunOpenPanel({}));
  EXPECT_EQ(2, asked);
}

TEST_F(TerminalWindowSystemTest, SaysNothingOfWhatItDoesNotShow) {
  PseudoTerminal terminal(80);
  {
    const TerminalOnStandardError redirected(terminal);
    const std::unique_ptr<Window> window = MakeWindow("MainWindow");
    system_.LoadApplication();
    system_.UpdateDynamicServices();
    system_.BringApplicationToFront();
    system_.Beep();
    EXPECT_EQ(noErr, system_.OpenFolder("/nowhere"));
    system_.OpenPage("appstream://org.tessary.Tessary");
    window->Show();
    window->SetTitle("destination");
    window->FadeOut();
    ShowText(window.get(), 6, "Elapsed time: 0 secs");
    ShowText(window.get(), 1, "Bye.");
  }
  EXPECT_EQ("", terminal.Finish());
}

// The status line.

TEST_F(TerminalWindowSystemTest, ShowsAStatusLineWhileItIsBusy) {
  PseudoTerminal terminal(80);
  {
    const TerminalOnStandardError redirected(terminal);
    const std::unique_ptr<Window> window = MakeWindow("MainWindow");
    ShowText(window.get(), 1, "before");
    system_.CountItem();
    ControlOf(window.get(), 2).SetVisible(true);
    ControlOf(window.get(), 2).SetVisible(true);
    ShowText(window.get(), 1, "Moving: /a");
    time_ += milliseconds(100);
    system_.CountItem();
    time_ += milliseconds(1900);
    ShowText(window.get(), 1, "Moving: /new\nline");
    time_ += milliseconds(100);
    // Without a pump nothing is shown.
    ControlOf(window.get(), 1).SetText("Moving: /b");
    ControlOf(window.get(), 2).SetVisible(false);
    ShowText(window.get(), 1, "after");
    system_.CountItem();
  }
  EXPECT_THAT(DrawnLines(terminal.Finish()),
              ElementsAre("0 items  Moving: /a", "1 item  Moving: /a",
                          "1 item, 0/s  Moving: /new\\nline", ""));
}

TEST_F(TerminalWindowSystemTest, TellsHowLongItWasBusy) {
  const std::unique_ptr<Window> window = MakeWindow("MainWindow");
  ControlOf(window.get(), 2).SetVisible(false);
  EXPECT_EQ(std::nullopt, system_.BusySeconds());
  ControlOf(window.get(), 2).SetVisible(true);
  time_ += milliseconds(1500);
  EXPECT_EQ(std::nullopt, system_.BusySeconds());
  ControlOf(window.get(), 2).SetVisible(false);
  EXPECT_THAT(system_.BusySeconds(), Optional(1.5));
  time_ += milliseconds(1500);
  EXPECT_THAT(system_.BusySeconds(), Optional(1.5));
  ControlOf(window.get(), 2).SetVisible(true);
  EXPECT_EQ(std::nullopt, system_.BusySeconds());
}

TEST_F(TerminalWindowSystemTest, KeepsTheStatusTextOfTheMainWindowAlone) {
  std::unique_ptr<Window> window = MakeWindow("MainWindow");
  const std::unique_ptr<Window> other = MakeWindow("PreferencesWindow");
  ShowText(window.get(), 1, "status");
  ShowText(window.get(), 6, "elapsed");
  ShowText(other.get(), 1, "other");
  ControlOf(other.get(), 2).SetVisible(true);
  ControlOf(other.get(), 2).SetVisible(false);
  window.reset();
  EXPECT_EQ("status", system_.StatusText());
  EXPECT_EQ(std::nullopt, system_.BusySeconds());
}

TEST_F(TerminalWindowSystemTest, WritesNothingWhereStandardErrorIsNoTerminal) {
  const CapturedLog log;
  const std::unique_ptr<Window> window = MakeWindow("MainWindow");
  ControlOf(window.get(), 2).SetVisible(true);
  ShowText(window.get(), 1, "Moving: /a");
  system_.CountItem();
  ControlOf(window.get(), 2).SetVisible(false);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
