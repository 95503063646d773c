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

// The open sheet; all null while it is closed, and a control where the form lacks it.
struct PreferencesWindow {
  std::unique_ptr<Window> window;
  ControlRef quitWhenDone = nullptr;
  ControlRef recurseFolders = nullptr;
  ControlRef kind = nullptr;
};

PreferencesWindow gPreferencesWindow;
PreferencesWindowHooks gHooks;

void Close() {
  // A second command may have been on its way while the first closed the sheet.
  if (gPreferencesWindow.window == nullptr) return;
  // The window goes whether or not it could be hidden first.
  (void)gPreferencesWindow.window->HideSheet();
  gPreferencesWindow = {};
}

// The setting is lost where it was not stored, and the user, whose sheet shows it, has to hear of
// that somewhere.
void LogUnlessStored(bool wasStored) {
  if (wasStored) return;
  NSLog(DescribePreferencesProblem().value_or("The settings could not be stored."));
}

Status HandleCommand(const Event& event) {
  HICommand command;
  const Status status = GetEventParameter(event, kEventParamDirectObject, &command);
  if (status != noErr) return eventNotHandledErr;
  const PreferencesWindow& controls = gPreferencesWindow;
  switch (command.commandID) {
    case kCommandOK:
    case kCommandCancel:
      Close();
      return noErr;
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
  // Every use of a control takes none as well.
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
  // A sheet that does not come up changes nothing, and the command can be given again.
  (void)gPreferencesWindow.window->ShowAsSheetOf(gHooks.parent);
}

void DisposePreferencesWindow() { gPreferencesWindow = {}; }

}  // namespace tessary
