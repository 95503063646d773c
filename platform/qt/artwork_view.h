#pragma once

#include <QByteArray>
#include <QPaintEvent>
#include <QPalette>
#include <QWidget>

namespace tessary {

// The drawing of the drop target, in the colours of the desktop's theme, as sharp as the screen.
class ArtworkView : public QWidget {
 public:
  explicit ArtworkView(QWidget* parent = nullptr);

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QByteArray drawing_;  // SVG, in the colours that it was drawn with
};

// Makes the pictures that are compiled into the program available under ":/artwork". Called before
// they are used, as often as wanted.
void LoadPictures();

// The drawing with the colours that it was drawn with replaced by those of the palette.
QByteArray RecolourDrawing(const QPalette& palette, QByteArray drawing);

}  // namespace tessary
