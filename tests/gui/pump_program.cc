// Shows the main window and then blocks the event loop for some seconds, the first half of which it
// pumps. Prints "busy" at the start, and the number of commands, timers and open requests that were
// delivered during ("during C T O") and after ("after C T O") that time.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "platform/managers/window_system.h"
#include "platform/qt/window_system.h"

namespace tessary::test {
namespace {

constexpr auto kHalf = std::chrono::seconds(5);
constexpr auto kPumpInterval = std::chrono::milliseconds(20);  // longer than a frame
constexpr double kWorkDelay = 0.3;                             // seconds
constexpr double kTimerDelay = 0.05;
constexpr double kReportDelay = 1.5;

int gCommands = 0;
int gTimers = 0;
int gDocuments = 0;

void Print(const char* when) {
  printf("%s %d %d %d\n", when, gCommands, gTimers, gDocuments);
  fflush(stdout);
}

ControlRef Find(Window* window, int32_t id) {
  ControlRef control = nullptr;
  if (window->GetControlByID({FourCharCode("CNTL"), id}, &control) != noErr) std::abort();
  return control;
}

void Install(WindowSystem* system, double delay, const std::function<void()>& routine) {
  if (system->InstallEventLoopTimer(delay, routine) != noErr) std::abort();
}

void ShowText(WindowSystem* system, ControlRef control, const char* text) {
  if (SetControlData(control, kControlStaticTextCFStringTag, text) != noErr) std::abort();
  Draw1Control(control);
  system->PumpEvents();
}

void Work(WindowSystem* system, Window* window) {
  ShowControl(Find(window, 2));
  HideControl(Find(window, 4));
  EnableControl(Find(window, 7));
  ShowControl(Find(window, 7));
  Install(system, kTimerDelay, [] { ++gTimers; });
  printf("busy\n");
  fflush(stdout);
  const auto half = std::chrono::steady_clock::now() + kHalf;
  while (std::chrono::steady_clock::now() < half) {
    ShowText(system, Find(window, 1), "Moving: /at/work");
    std::this_thread::sleep_for(kPumpInterval);
  }
  // Pumps once and then not for seconds: the text must reach the screen without a further pump.
  ShowText(system, Find(window, 1), "Moving: /the/last");
  std::this_thread::sleep_for(kHalf);
  Print("during");
  Install(system, kReportDelay, [system] {
    Print("after");
    system->ExitToShell();
  });
}

int Run(int count, char** arguments) {
  QtWindowSystem system(&count, arguments, [](const std::vector<FSSpec>&) { ++gDocuments; });
  if (system.ForwardToRunningInstance({})) return EXIT_FAILURE;
  system.LoadApplication();
  std::unique_ptr<Nib> nib;
  std::unique_ptr<Window> window;
  if (system.CreateNibReference("main", &nib) != noErr) return EXIT_FAILURE;
  if (nib->CreateWindow("MainWindow", &window) != noErr) return EXIT_FAILURE;
  const Status status = system.GetApplicationEventTarget().InstallHandler(
      kEventClassCommand, kEventCommandProcess, [](const Event&) {
        ++gCommands;
        return noErr;
      });
  if (status != noErr) return EXIT_FAILURE;
  window->Show();
  Install(&system, kWorkDelay, [&] { Work(&system, window.get()); });
  system.RunApplicationEventLoop();
  return EXIT_FAILURE;
}

}  // namespace
}  // namespace tessary::test

int main(int argc, char** argv) { return tessary::test::Run(argc, argv); }
