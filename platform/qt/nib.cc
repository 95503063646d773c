#include "platform/qt/nib.h"

#include <QDialog>
#include <QMainWindow>
#include <utility>

#include "platform/qt/forms/main_window.ui.h"
#include "platform/qt/forms/preferences_window.ui.h"

namespace tessary {
namespace {

template <typename Form, typename Widget>
std::unique_ptr<Widget> MakeForm() {
  auto widget = std::make_unique<Widget>();
  Form form;
  form.setupUi(widget.get());
  return widget;
}

}  // namespace

Status QtNib::CreateMenuBar(const std::string& name) {
  if (name != "MenuBar") return fnfErr;
  ui_->newMenuBar = std::make_unique<QtMenuBar>(&ui_->commands);
  return noErr;
}

Status QtNib::CreateWindow(const std::string& name, std::unique_ptr<Window>* window) {
  if (window == nullptr) return paramErr;
  if (name == "MainWindow") {
    auto form = MakeForm<Ui::MainWindow, QMainWindow>();
    if (ui_->menuBar != nullptr) ui_->menuBar->AttachTo(form.get());
    auto made = std::make_unique<QtWindow>(std::move(form), &ui_->commands, &ui_->tasks);
    ui_->mainWindow = made.get();
    *window = std::move(made);
    return noErr;
  }
  if (name == "PreferencesWindow") {
    *window = std::make_unique<QtWindow>(MakeForm<Ui::PreferencesWindow, QDialog>(), &ui_->commands,
                                         &ui_->tasks);
    return noErr;
  }
  return fnfErr;
}

}  // namespace tessary
