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

// The state that all windows and menus share. Owned by the window system.
struct QtUiState {
  QtUiState() : commands(&tasks, application) {}

  TaskQueue tasks;
  EventTarget application;
  CommandSender commands;
  std::unique_ptr<QtMenuBar> newMenuBar;  // created, but not yet set
  std::unique_ptr<QtMenuBar> menuBar;     // set: the next main window to be created gets it
  QPointer<QtWindow> mainWindow;
};

// The forms that are compiled into the program: the menu bar "MenuBar" and the windows "MainWindow"
// and "PreferencesWindow". Each form can be instantiated any number of times.
class QtNib final : public Nib {
 public:
  // `ui` is owned by the caller and must outlive this object and every window that it creates.
  explicit QtNib(QtUiState* ui) : ui_(ui) {}

  // Both return noErr, fnfErr (no form of that name) or paramErr (`window` is null).
  Status CreateMenuBar(const std::string& name) override;
  Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) override;

 private:
  QtUiState* ui_;
};

}  // namespace tessary
