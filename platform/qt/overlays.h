#pragma once

#include <QPaintEvent>
#include <QRect>
#include <QWidget>

// What is drawn over the content of a window; clicks and drags go through it.
namespace tessary {

// The frame that shows that a drop would be taken.
class DropHilite : public QWidget {
 public:
  explicit DropHilite(QWidget* parent);

  // Shows the frame along the inside of `bounds`, in the parent's coordinates.
  void ShowIn(const QRect& bounds);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// A sheet in the window's background colour that grows from transparent to solid.
class FadeOverlay : public QWidget {
 public:
  explicit FadeOverlay(QWidget* parent);

  // 0 shows everything beneath, 1 nothing.
  void SetOpacity(qreal opacity);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  qreal opacity_ = 0;
};

}  // namespace tessary
