#pragma once

#include <QMenu>
#include <QPointer>
#include <string>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"

namespace tessary {

// A menu of the menu bar. The items that its form gives it send the command of their property
// "commandID".
class QtMenu final : public Menu {
 public:
  // `commands` is the caller's and outlives this.
  QtMenu(QMenu* menu, CommandSender* commands);

  Status InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) override;
  EventTarget GetEventTarget() override { return target_; }

  // The number behind the last item's; separators count.
  uint16_t FirstFreeItem() const;

  // Enables the items of the command.
  void EnableCommand(OSType commandID);

  bool IsNamed(const QString& name) const;

 private:
  void SendWhenChosen(QAction* item, OSType commandID);

  QPointer<QMenu> menu_;
  CommandSender* commands_;
  EventTarget target_;
};

}  // namespace tessary
