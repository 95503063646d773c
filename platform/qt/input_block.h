#pragma once

#include <QEvent>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>
#include <QWindow>

namespace tessary {

// Blocks the input of windows while another one, a panel or a sheet, is open: they ignore the
// mouse, the keyboard and the close button, and a click on them brings the other one to the front.
// They still accept drags, unlike windows that a modal window of Qt blocks.
class InputBlock final : public QObject {
 public:
  // Blocks those of the windows that are on the screen until this object is destroyed. `front` is
  // the window that is open.
  InputBlock(QWidget* front, const QList<QWidget*>& blocked);

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QPointer<QWidget> front_;
};

// Returns the visible windows of the program other than `front`.
QList<QWidget*> VisibleWindowsBehind(const QWidget* front);

}  // namespace tessary
