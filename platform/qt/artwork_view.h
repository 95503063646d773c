#pragma once

#include <QByteArray>
#include <QPaintEvent>
#include <QPalette>
#include <QWidget>

namespace tessary {

// Draws the picture of the drop target in the colours of the desktop's theme, at the resolution of
// the screen.
class ArtworkView : public QWidget {
 public:
  explicit ArtworkView(QWidget* parent = nullptr);

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QByteArray drawing_;  // SVG, in its original colours
};

// Makes the pictures that are compiled into the program available under ":/artwork". Call it before
// the first use of a picture; further calls have no effect.
void LoadPictures();

// Returns the drawing with its original colours replaced by colours of the palette.
QByteArray RecolourDrawing(const QPalette& palette, QByteArray drawing);

}  // namespace tessary
