#include "platform/qt/menu.h"

#include <QAction>
#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QVariant>

namespace tessary {
namespace {

constexpr char kCommandID[] = "commandID";
constexpr char kTrailingItems[] = "trailingItems";

// The inserted items that are translated; all others keep their text. The list exists for lupdate,
// which extracts the texts from it.
constexpr char kTranslationContext[] = "tessary::QtMenu";
[[maybe_unused]] constexpr const char* kTranslatedItems[] = {
    QT_TRANSLATE_NOOP("tessary::QtMenu", "Tessary Web Page"),
};

OSType CommandOf(const QAction* item) {
  return CommandIDFromText(item->property(kCommandID).toString());
}

}  // namespace

QtMenu::QtMenu(QMenu* menu, CommandSender* commands) : menu_(menu), commands_(commands) {
  const QList<QAction*> items = menu_->actions();
  for (QAction* item : items) {
    if (CommandOf(item) != 0) SendWhenChosen(item, CommandOf(item));
  }
}

Status QtMenu::InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) {
  if (menu_ == nullptr) return paramErr;
  QString label = QCoreApplication::translate(kTranslationContext, text.c_str());
  // A single "&" would mark the next letter as the item's key.
  label.replace("&", "&&");
  auto* item = new QAction(label, menu_);
  const QList<QAction*> items = menu_->actions();
  QAction* before = afterItem < items.size() ? items[afterItem] : nullptr;
  menu_->insertAction(before, item);
  SendWhenChosen(item, commandID);
  return noErr;
}

uint16_t QtMenu::FirstFreeItem() const {
  if (menu_ == nullptr) return 1;
  const qsizetype trailing = menu_->property(kTrailingItems).toInt();
  return static_cast<uint16_t>(menu_->actions().size() - trailing + 1);
}

void QtMenu::EnableCommand(OSType commandID) {
  if (menu_ == nullptr) return;
  const QList<QAction*> items = menu_->actions();
  for (QAction* item : items) {
    if (CommandOf(item) == commandID) item->setEnabled(true);
  }
}

bool QtMenu::IsNamed(const QString& name) const {
  return menu_ != nullptr && menu_->objectName() == name;
}

void QtMenu::SendWhenChosen(QAction* item, OSType commandID) {
  QObject::connect(
      item, &QAction::triggered, menu_,
      [commands = commands_, target = target_, commandID] { commands->Send(target, commandID); });
}

}  // namespace tessary
