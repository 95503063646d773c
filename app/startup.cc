#include "app/startup.h"

#include <cstdint>
#include <memory>

#include "app/commands.h"
#include "app/main_window.h"
#include "app/opened_items.h"
#include "engine/keys.h"
#include "engine/shell.h"
#include "platform/extension_map.h"
#include "platform/managers/apple_event_handlers.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/calendar.h"
#include "platform/managers/window_system.h"
#include "settings/preferences_window.h"

namespace tessary {

bool gQuitRequested = false;

namespace {

constexpr OSType kControlSignature = FourCharCode("CNTL");
constexpr double kQuitDelay = 1.0;  // seconds

// Sets the hooks of the layers below for its lifetime.
class ScopedHooks {
 public:
  ScopedHooks() : previousHooks_(GetEngineHooks()) {
    EngineHooks hooks = previousHooks_;
    hooks.showProgressText = ShowProgressText;
    hooks.runAggregation = RunAggregation;
    SetEngineHooks(hooks);
    AESetEventLoop([](const std::function<void()>& deliver) {
      return gWindowSystem->InstallEventLoopTimer(0, deliver);
    });
  }

  // Disposes of the windows too, while gWindowSystem still exists.
  ~ScopedHooks() {
    DisposePreferencesWindow();
    SetPreferencesWindowHooks({});
    gMainWindow = {};
    AESetEventLoop({});
    SetEngineHooks(previousHooks_);
  }

  ScopedHooks(const ScopedHooks&) = delete;
  ScopedHooks& operator=(const ScopedHooks&) = delete;

 private:
  EngineHooks previousHooks_;
};

ControlRef FindControl(int32_t id) {
  ControlRef control = nullptr;
  // On failure the control stays null, which every use of a control accepts.
  (void)gMainWindow.window->GetControlByID({.signature = kControlSignature, .id = id}, &control);
  return control;
}

void FindControls() {
  gMainWindow.statusText = FindControl(1);
  gMainWindow.activityIndicator = FindControl(2);
  gMainWindow.idleDecoration = FindControl(4);
  gMainWindow.unusedControl = FindControl(5);
  gMainWindow.elapsedTimeText = FindControl(6);
  gMainWindow.stopControl = FindControl(7);
}

// Makes the menu bar and the main window, which stays hidden.
Status MakeInterface() {
  std::unique_ptr<Nib> nib;
  Status status = gWindowSystem->CreateNibReference("main", &nib);
  if (status != noErr) return status;
  if (nib->CreateMenuBar("MenuBar") == noErr) gWindowSystem->SetMenuBar();
  status = nib->CreateWindow("MainWindow", &gMainWindow.window);
  if (status != noErr) {
    // The forms are not released in this case: the program ends with this status.
    (void)nib.release();
    return status;
  }
  SetPreferencesWindowHooks(
      {.showProgressText = ShowProgressText, .parent = gMainWindow.window.get()});
  gMainWindow.window->Hide();
  FindControls();
  return noErr;
}

// Installs both routines or none: a window with one of them would highlight drags that it cannot
// receive, or receive drags that it has not accepted.
void InstallDragHandlers() {
  Window& window = *gMainWindow.window;
  if (window.InstallTrackingHandler(TrackDrag) != noErr) return;
  if (window.InstallReceiveHandler(ReceiveDrag) == noErr) return;
  // Cannot fail: the handler was installed above.
  (void)window.RemoveTrackingHandler();
}

// Ignores the statuses: without one of the handlers, the program can be used through the others.
void InstallEventHandlers() {
  (void)gWindowSystem->GetApplicationEventTarget().InstallHandler(
      kEventClassService, kEventServicePerform, HandleService);
  (void)AEInstallEventHandler(kCoreEventClass, kAEOpenDocuments, HandleOpenDocuments, 0, false);
  gWindowSystem->EnableMenuCommand(kCommandPreferences);
  (void)gWindowSystem->GetApplicationEventTarget().InstallHandler(
      kEventClassCommand, kEventCommandProcess, HandleApplicationCommand);
}

// Inserts both items at the same place, so that the second one is above the first.
void AddHelpItems() {
  MenuRef help = nullptr;
  uint16_t firstFreeItem = 0;
  if (gWindowSystem->GetHelpMenu(&help, &firstFreeItem) != noErr) return;
  const auto afterItem = static_cast<uint16_t>(firstFreeItem - 1);
  // On failure the menu lacks the item, and the program goes on.
  (void)help->InsertItem("Tessary Web Page", afterItem, kCommandWebPage);
  (void)help->InsertItem("View in Mac App Store...", afterItem, kCommandStorePage);
  (void)help->GetEventTarget().InstallHandler(kEventClassCommand, kEventCommandProcess,
                                              HandleHelpCommand);
}

void Quit() {
  gWindowSystem->RefuseRequests();
  ShowProgressText("Bye.", kStatusTextTarget);
  gMainWindow.window->FadeOut();
  gWindowSystem->ExitToShell();
}

}  // namespace

Status RunApplication() {
  gWindowSystem->LoadApplication();
  const NSAutoreleasePool pool;
  const ScopedHooks hooks;
  gWindowSystem->UpdateDynamicServices();
  const Status status = MakeInterface();
  if (status != noErr) return status;
  InstallDragHandlers();
  gMainWindow.window->Show();
  InstallEventHandlers();
  BuildExtensionMap();
  gDateLocale = CopyUserDateLocale();
  AddHelpItems();
  gWindowSystem->RunApplicationEventLoop();
  return noErr;
}

void PumpEvents() { gWindowSystem->PumpEvents(); }

void InstallQuitTimer() {
  // Without the timer the program stays open, as it does without the setting.
  (void)gWindowSystem->InstallEventLoopTimer(kQuitDelay, Quit);
}

}  // namespace tessary
