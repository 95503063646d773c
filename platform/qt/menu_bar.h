#pragma once

#include <QMainWindow>
#include <QMenuBar>
#include <memory>
#include <vector>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"
#include "platform/qt/menu.h"

namespace tessary {

// The program's menu bar. It is part of the main window, because its keyboard shortcuts work only
// there.
class QtMenuBar {
 public:
  // `commands` is owned by the caller and must outlive this object.
  explicit QtMenuBar(CommandSender* commands);

  // Moves the menu bar into the window, which owns it from then on.
  void AttachTo(QMainWindow* window);

  // Enables the items that send the command, in all menus.
  void EnableCommand(OSType commandID);

  // The Help menu, or null if the form has none.
  QtMenu* HelpMenu();

 private:
  std::unique_ptr<QMainWindow> holder_;  // owns the items, and the bar until AttachTo
  std::vector<std::unique_ptr<QtMenu>> menus_;
};

}  // namespace tessary
