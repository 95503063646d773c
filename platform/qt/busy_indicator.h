#pragma once

#include <QElapsedTimer>
#include <QPaintEvent>
#include <QWidget>

namespace tessary {

// Tiles that light up one after another, in the colours of the desktop's theme. It has no timer:
// it moves when it is told to, so that it shows that work goes on and not that time passes.
class BusyIndicator : public QWidget {
 public:
  explicit BusyIndicator(QWidget* parent = nullptr);

  // Moves to where the time since it was made puts it, by one step at least.
  void Advance();

  // Where it stands; changes with every Advance.
  int64_t Phase() const { return phase_; }

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QElapsedTimer clock_;
  int64_t phase_ = 0;  // in steps
};

}  // namespace tessary
