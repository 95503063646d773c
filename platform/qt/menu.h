#pragma once

#include <QMenu>
#include <QPointer>
#include <string>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"

namespace tessary {

// A menu of the menu bar. An item that comes from the form sends the command in its property
// "commandID".
class QtMenu final : public Menu {
 public:
  // `commands` is owned by the caller and must outlive this object.
  QtMenu(QMenu* menu, CommandSender* commands);

  Status InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) override;
  EventTarget GetEventTarget() override { return target_; }

  // The number at which items are added: after the last item, but before those that the form's
  // property "trailingItems" counts. Separators count as items.
  uint16_t FirstFreeItem() const;

  // Enables all items that send the command.
  void EnableCommand(OSType commandID);

  bool IsNamed(const QString& name) const;

 private:
  void SendWhenChosen(QAction* item, OSType commandID);

  QPointer<QMenu> menu_;
  CommandSender* commands_;
  EventTarget target_;
};

}  // namespace tessary
