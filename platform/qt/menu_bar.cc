#include "platform/qt/menu_bar.h"

#include <QAction>

#include "platform/qt/forms/menu_bar.ui.h"

namespace tessary {

QtMenuBar::QtMenuBar(CommandSender* commands) : holder_(std::make_unique<QMainWindow>()) {
  Ui::MenuBar form;
  form.setupUi(holder_.get());
  const QList<QAction*> titles = holder_->menuBar()->actions();
  for (const QAction* title : titles) {
    if (title->menu() != nullptr)
      menus_.push_back(std::make_unique<QtMenu>(title->menu(), commands));
  }
}

void QtMenuBar::AttachTo(QMainWindow* window) { window->setMenuBar(holder_->menuBar()); }

void QtMenuBar::EnableCommand(OSType commandID) {
  for (const auto& menu : menus_) menu->EnableCommand(commandID);
}

QtMenu* QtMenuBar::HelpMenu() {
  for (const auto& menu : menus_) {
    if (menu->IsNamed("helpMenu")) return menu.get();
  }
  return nullptr;
}

}  // namespace tessary
