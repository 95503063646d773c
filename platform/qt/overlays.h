#pragma once

#include <QPaintEvent>
#include <QRect>
#include <QWidget>

// Widgets that are drawn over the content of a window and do not receive clicks or drags.
namespace tessary {

// A frame that shows that the window accepts a drop.
class DropHilite : public QWidget {
 public:
  explicit DropHilite(QWidget* parent);

  // Shows the frame along the inner edge of `bounds`, which is in the parent's coordinates.
  void ShowIn(const QRect& bounds);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// Covers the window with its background colour, to fade the content out.
class FadeOverlay : public QWidget {
 public:
  explicit FadeOverlay(QWidget* parent);

  // 0 is transparent, 1 opaque.
  void SetOpacity(qreal opacity);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  qreal opacity_ = 0;
};

}  // namespace tessary
