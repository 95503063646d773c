#include "platform/qt/input_block.h"

#include <QApplication>

namespace tessary {

// Filters the events of the native windows: there the events of all their widgets arrive first.
InputBlock::InputBlock(QWidget* front, const QList<QWidget*>& blocked) : front_(front) {
  for (QWidget* widget : blocked) {
    if (widget->windowHandle() != nullptr) widget->windowHandle()->installEventFilter(this);
  }
}

bool InputBlock::eventFilter(QObject* /*watched*/, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::TouchBegin:
    case QEvent::TabletPress:
    case QEvent::KeyPress:
      if (front_ != nullptr) {
        front_->raise();
        front_->activateWindow();
      }
      return true;
    case QEvent::ShortcutOverride:
      // Otherwise Qt would look the key up in the shortcuts of the menus.
      event->accept();
      return true;
    case QEvent::Close:
      event->ignore();
      return true;
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyRelease:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletMove:
    case QEvent::TabletRelease:
    case QEvent::NativeGesture:
      return true;
    default:
      return false;
  }
}

QList<QWidget*> VisibleWindowsBehind(const QWidget* front) {
  QList<QWidget*> windows = QApplication::topLevelWidgets();
  windows.removeIf(
      [front](const QWidget* window) { return window == front || !window->isVisible(); });
  return windows;
}

}  // namespace tessary
