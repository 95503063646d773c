#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"
#include "platform/qt/menu_bar.h"
#include "platform/qt/task_queue.h"
#include "platform/qt/window.h"

namespace tessary {

// What the program has on the screen besides its windows' own state. The window system's.
struct QtUiState {
  QtUiState() : commands(&tasks, application) {}

  TaskQueue tasks;
  EventTarget application;
  CommandSender commands;
  std::unique_ptr<QtMenuBar> newMenuBar;  // made and not yet in place
  std::unique_ptr<QtMenuBar> menuBar;     // in place: the main window that is made next gets it
  QPointer<QtWindow> mainWindow;
};

// The forms that are compiled into the program: the menu bar "MenuBar" and the windows "MainWindow"
// and "PreferencesWindow". Each can be made as often as wanted.
class QtNib final : public Nib {
 public:
  // `screen` is the caller's and outlives this and every window that it makes.
  explicit QtNib(QtUiState* screen) : ui_(screen) {}

  // Answers noErr, fnfErr (no form of that name), paramErr (no out-argument).
  Status CreateMenuBar(const std::string& name) override;
  Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) override;

 private:
  QtUiState* ui_;
};

}  // namespace tessary
