#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHideEvent>
#include <QPaintEvent>
#include <QShowEvent>
#include <QWidget>

namespace tessary {

// Shows tiles that light up one after another, in the colours of the desktop's theme. It has no
// timer: it moves only when Advance is called, so that it shows progress of the work and not the
// passing of time. Its accessible name changes when it appears and disappears, so that assistive
// programs announce both.
class BusyIndicator : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(BusyIndicator)

 public:
  explicit BusyIndicator(QWidget* parent = nullptr);

  // Moves to the position for the time since construction.
  void Advance();

  QSize sizeHint() const override;

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QElapsedTimer clock_;
  int64_t phase_ = 0;  // in steps
};

}  // namespace tessary
