#pragma once

#include <QLabel>
#include <QPaintEvent>
#include <QStringList>

namespace tessary {

// A label for text of any length that never asks for more room: what fits on its lines, of
// which the property "maximumLines" tells the number (1 without it), is wrapped between words, and
// of anything longer the middle is left out of one line. The whole text is its tool tip and what
// assistive programs read.
class ElidedLabel : public QLabel {
 public:
  explicit ElidedLabel(QWidget* parent = nullptr);

  // Sets the text. Control characters are shown by their pictures, so that the name of a file
  // cannot break the line.
  void SetPlainText(const QString& text);

  // The lines that are painted.
  QStringList Lines() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  int MaximumLines() const;
};

}  // namespace tessary
