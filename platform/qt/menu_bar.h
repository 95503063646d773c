#pragma once

#include <QMainWindow>
#include <QMenuBar>
#include <memory>
#include <vector>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"
#include "platform/qt/menu.h"

namespace tessary {

// The program's menu bar. Here it stands in the main window, where its keys work.
class QtMenuBar {
 public:
  // `commands` is the caller's and outlives this.
  explicit QtMenuBar(CommandSender* commands);

  // Puts the menu bar into a window that has a place for one, which owns the bar from then on.
  void AttachTo(QMainWindow* window);

  // Enables the items of a command in all menus.
  void EnableCommand(OSType commandID);

  // The Help menu; null where the form has none.
  QtMenu* HelpMenu();

 private:
  std::unique_ptr<QMainWindow> holder_;  // owns the items, and the bar until it is in a window
  std::vector<std::unique_ptr<QtMenu>> menus_;
};

}  // namespace tessary
