#pragma once

#include <QEvent>
#include <QLabel>
#include <QPaintEvent>
#include <QString>
#include <QStringList>
#include <QTimer>

namespace tessary {

// A label of constant size for text of any length. Text that fits on at most "maximumLines" lines
// (a property; default 1) is wrapped between words. Longer text is shown on one line with its
// middle elided. At its minimum width, the text in the property "minimumText" still fits. The tool
// tip and assistive programs get the whole text.
class ElidedLabel : public QLabel {
 public:
  explicit ElidedLabel(QWidget* parent = nullptr);

  // Sets the text. Control characters are shown as their Unicode control pictures, so that a line
  // break in a file name does not add a line. Cheap, because a run changes the text for each item:
  // no layout is computed before the text is painted, and assistive programs are notified at most
  // twice per second.
  void SetPlainText(const QString& text);

  // The text as shown.
  QString Text() const;

  // Hide the functions of QLabel, which would compute the layout of the window for each text.
  void setText(const QString& text) { SetPlainText(text); }
  QString text() const { return Text(); }

  // The lines as painted.
  QStringList Lines() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  int MaximumLines() const;

  // The least width at which the text in "minimumText" fits; 0 if there is none.
  int WidthOfMinimumText() const;

  // Makes the text the accessible name, and begins the time in which it does not change again.
  void Announce();

  QString text_;  // as set
  QTimer announcement_;
};

}  // namespace tessary
