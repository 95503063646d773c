#pragma once

#include <QLabel>
#include <QPaintEvent>
#include <QStringList>

namespace tessary {

// A label of constant size for text of any length. Text that fits on at most "maximumLines" lines
// (a property; default 1) is wrapped between words. Longer text is shown on one line with its
// middle elided. The tool tip and assistive programs get the whole text.
class ElidedLabel : public QLabel {
 public:
  explicit ElidedLabel(QWidget* parent = nullptr);

  // Sets the text. Control characters are replaced by their Unicode control pictures, so that a
  // line break in a file name does not add a line.
  void SetPlainText(const QString& text);

  // The lines as painted.
  QStringList Lines() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  int MaximumLines() const;
};

}  // namespace tessary
