#include "platform/qt/elided_label.h"

#include <QAccessible>
#include <QFontMetrics>
#include <QPainter>
#include <QPalette>
#include <QStyle>
#include <QTextLayout>
#include <QTextOption>

namespace tessary {
namespace {

constexpr int kLines = 2;
constexpr int kMinimumCharacters = 24;
constexpr int kPreferredCharacters = 44;
constexpr char16_t kControlPictures = 0x2400;  // the picture of U+0000; the others follow in order
constexpr char16_t kPictureOfDelete = 0x2421;

QString WithControlPictures(QString text) {
  for (QChar& unit : text) {
    if (unit.unicode() < u' ')
      unit = QChar(static_cast<char16_t>(kControlPictures + unit.unicode()));
    if (unit.unicode() == 0x7F) unit = QChar(kPictureOfDelete);
    // Line and paragraph separators, and C1, which have no picture.
    if (unit.category() == QChar::Other_Control || unit == QChar::LineSeparator ||
        unit == QChar::ParagraphSeparator) {
      unit = QChar::ReplacementCharacter;
    }
  }
  return text;
}

// The text in lines of that width, broken between words; with more lines than fit, and with a word
// that is wider than a line, there are more than kLines.
QStringList WrapBetweenWords(const QString& text, const QFont& font, int width) {
  QTextLayout layout(text, font);
  QTextOption option;
  option.setWrapMode(QTextOption::WordWrap);
  layout.setTextOption(option);
  layout.beginLayout();
  QStringList lines;
  for (QTextLine line = layout.createLine(); line.isValid() && lines.size() <= kLines;
       line = layout.createLine()) {
    line.setLineWidth(width);
    lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
    if (line.naturalTextWidth() > width) lines.append(QStringList(kLines));
  }
  layout.endLayout();
  return lines;
}

}  // namespace

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void ElidedLabel::SetPlainText(const QString& text) {
  const QString shown = WithControlPictures(text);
  if (shown == this->text()) return;
  setText(shown);
  // A name of a file is no markup in the tool tip either.
  setToolTip(shown.toHtmlEscaped());
  QAccessibleEvent change(this, QAccessible::NameChanged);
  QAccessible::updateAccessibility(&change);
}

QStringList ElidedLabel::Lines() const {
  const QFontMetrics metrics = fontMetrics();
  const int width = contentsRect().width();
  if (text().isEmpty()) return {};
  if (metrics.horizontalAdvance(text()) <= width) return {text()};
  QStringList lines = WrapBetweenWords(text(), font(), width);
  if (lines.size() <= kLines) return lines;
  return {metrics.elidedText(text(), Qt::ElideMiddle, width)};
}

QSize ElidedLabel::sizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  return {metrics.averageCharWidth() * kPreferredCharacters, metrics.lineSpacing() * kLines};
}

QSize ElidedLabel::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * kMinimumCharacters, sizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const QStringList lines = Lines();
  const int spacing = fontMetrics().lineSpacing();
  QRect line = contentsRect();
  const auto height = static_cast<int>(lines.size()) * spacing;
  const bool isCentred = alignment().testFlag(Qt::AlignVCenter);
  line.setTop(line.top() + (isCentred ? (line.height() - height) / 2 : 0));
  line.setHeight(spacing);
  for (const QString& text : lines) {
    style()->drawItemText(&painter, line, static_cast<int>(alignment()) | Qt::TextSingleLine,
                          palette(), isEnabled(), text, QPalette::WindowText);
    line.translate(0, spacing);
  }
}

}  // namespace tessary
