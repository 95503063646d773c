#pragma once

#include <functional>
#include <string>

#include "platform/managers/windows.h"

// The sheet in which the user sets the kind, quitting when done and descending into subfolders. A
// change is stored the moment it is made; OK and Cancel both only close the sheet.
namespace tessary {

// What the sheet needs of the shell above it. Start-up supplies it.
struct PreferencesWindowHooks {
  // Shows a text to the user, 1 as the target naming the status line.
  std::function<void(const std::string& text, int target)> showProgressText = nullptr;

  // The window whose sheet it is.
  WindowRef parent = nullptr;
};

// Supplies the hooks, replacing those supplied before.
void SetPreferencesWindowHooks(PreferencesWindowHooks hooks);

// Opens the sheet, or brings the open one to the front with its check boxes as they are stored, and
// prompts for a drop in the status line. Where its window cannot be made only the prompt is shown.
void OpenPreferencesWindow();

// Disposes of the sheet's window where it is open, for a program that ends meanwhile.
void DisposePreferencesWindow();

}  // namespace tessary
