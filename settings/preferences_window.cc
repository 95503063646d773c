#include "settings/preferences_window.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "platform/managers/log.h"
#include "platform/managers/preferences_store.h"
#include "platform/managers/window_system.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

constexpr OSType kControlSignature = FourCharCode("CNTL");
constexpr int32_t kQuitWhenDoneID = 4;
constexpr int32_t kRecurseFoldersID = 7;
constexpr int32_t kKindID = 8;

constexpr OSType kCommandOK = FourCharCode("ok  ");
constexpr OSType kCommandCancel = FourCharCode("not!");
constexpr OSType kCommandQuitWhenDone = FourCharCode("Qwdo");
constexpr OSType kCommandRecurseFolders = FourCharCode("Rcrs");
constexpr OSType kCommandKind = FourCharCode("Agby");

constexpr int kStatusLineTarget = 1;

// The open sheet. All members are null while it is closed; a control that the form lacks is null.
struct PreferencesWindow {
  std::unique_ptr<Window> window;
  ControlRef quitWhenDone = nullptr;
  ControlRef recurseFolders = nullptr;
  ControlRef kind = nullptr;
};

PreferencesWindow gPreferencesWindow;
PreferencesWindowHooks gHooks;

void Close() {
  // A second command may be queued when the first one closes the sheet.
  if (gPreferencesWindow.window == nullptr) return;
  // The window is disposed of even if it cannot be hidden.
  (void)gPreferencesWindow.window->HideSheet();
  gPreferencesWindow = {};
}

// The sheet shows the new value although it was not stored, so the log reports the failure.
void LogUnlessStored(bool wasStored) {
  if (wasStored) return;
  NSLog(DescribePreferencesProblem().value_or("The settings could not be stored."));
}

Status HandleCommand(const Event& event) {
  HICommand command;
  const Status status = GetEventParameter(event, kEventParamDirectObject, &command);
  if (status != noErr) return eventNotHandledErr;
  if (command.commandID == kCommandOK || command.commandID == kCommandCancel) {
    Close();
    return noErr;
  }
  const PreferencesWindow& controls = gPreferencesWindow;
  // The command was queued behind one that has closed the sheet: its control is gone, and
  // with it the value to store.
  if (controls.window == nullptr) return eventNotHandledErr;
  switch (command.commandID) {
    case kCommandQuitWhenDone:
      LogUnlessStored(SetQuitWhenDone(GetControl32BitValue(controls.quitWhenDone) != 0));
      return eventNotHandledErr;
    case kCommandRecurseFolders:
      LogUnlessStored(SetRecurseFolders(GetControl32BitValue(controls.recurseFolders) != 0));
      return eventNotHandledErr;
    case kCommandKind:
      LogUnlessStored(
          SetAggregationKind(static_cast<AggregationKind>(GetControl32BitValue(controls.kind))));
      return eventNotHandledErr;
    default:
      return eventNotHandledErr;
  }
}

ControlRef FindControl(int32_t id) {
  ControlRef control = nullptr;
  // On failure the control stays null, which every use of a control accepts.
  (void)gPreferencesWindow.window->GetControlByID({.signature = kControlSignature, .id = id},
                                                  &control);
  return control;
}

void MakeWindow() {
  std::unique_ptr<Nib> nib;
  if (gWindowSystem->CreateNibReference("main", &nib) != noErr) return;
  const Status status = nib->CreateWindow("PreferencesWindow", &gPreferencesWindow.window);
  nib.reset();
  if (status != noErr) return;
  EventTarget target = gPreferencesWindow.window->GetEventTarget();
  if (target.InstallHandler(kEventClassCommand, kEventCommandProcess, HandleCommand) != noErr) {
    return;
  }
  gPreferencesWindow.quitWhenDone = FindControl(kQuitWhenDoneID);
  gPreferencesWindow.recurseFolders = FindControl(kRecurseFoldersID);
  gPreferencesWindow.kind = FindControl(kKindID);
  SetControl32BitValue(gPreferencesWindow.kind, static_cast<int32_t>(GetAggregationKind()));
}

}  // namespace

void SetPreferencesWindowHooks(PreferencesWindowHooks hooks) { gHooks = std::move(hooks); }

void OpenPreferencesWindow() {
  if (gPreferencesWindow.window == nullptr) MakeWindow();
  if (gHooks.showProgressText) {
    gHooks.showProgressText(
        "Drop a folder on the application or this window to aggregate the files in it.",
        kStatusLineTarget);
  }
  if (gPreferencesWindow.window == nullptr) return;
  SetControl32BitValue(gPreferencesWindow.quitWhenDone, GetQuitWhenDone() ? 1 : 0);
  SetControl32BitValue(gPreferencesWindow.recurseFolders, GetRecurseFolders() ? 1 : 0);
  gPreferencesWindow.window->BringToFront();
  // If the sheet cannot be shown, nothing has changed and the user can repeat the command.
  (void)gPreferencesWindow.window->ShowAsSheetOf(gHooks.parent);
}

void DisposePreferencesWindow() { gPreferencesWindow = {}; }

}  // namespace tessary
