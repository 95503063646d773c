#pragma once

#include <functional>
#include <string>

#include "platform/managers/windows.h"

// The preferences sheet, in which the user sets the kind, quitting after a run and descending into
// subfolders. Each change is stored immediately; OK and Cancel both only close the sheet.
namespace tessary {

// Filled in by the application layer at start-up.
struct PreferencesWindowHooks {
  // Shows a text to the user. `target` is always 1, the status line.
  std::function<void(const std::string& text, int target)> showProgressText = nullptr;

  // The window on which the sheet is shown.
  WindowRef parent = nullptr;
};

// Replaces all hooks.
void SetPreferencesWindowHooks(PreferencesWindowHooks hooks);

// Shows the drop prompt in the status line and opens the sheet. If the sheet is open, reads its
// check boxes again and brings it to the front. If its window cannot be made, only shows the
// prompt.
void OpenPreferencesWindow();

// Disposes of the sheet's window if it is open. For a program that ends while the sheet is open.
void DisposePreferencesWindow();

}  // namespace tessary
