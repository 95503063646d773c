#include "platform/qt/elided_label.h"

#include <QAccessible>
#include <QFontMetrics>
#include <QPainter>
#include <QPalette>
#include <QStyle>
#include <QTextLayout>
#include <QTextOption>
#include <QVariant>
#include <algorithm>

namespace tessary {
namespace {

constexpr char kMaximumLines[] = "maximumLines";
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

// The text in lines of that width, broken between words; none where that takes more lines than
// `most`, or where a word is wider than a line.
QStringList WrapBetweenWords(const QString& text, const QFont& font, int width, int most) {
  QTextLayout layout(text, font);
  QTextOption option;
  option.setWrapMode(QTextOption::WordWrap);
  layout.setTextOption(option);
  layout.beginLayout();
  QStringList lines;
  bool fits = true;
  for (QTextLine line = layout.createLine(); fits && line.isValid(); line = layout.createLine()) {
    line.setLineWidth(width);
    lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
    fits = lines.size() <= most && line.naturalTextWidth() <= width;
  }
  layout.endLayout();
  return fits ? lines : QStringList();
}

// The same in lines of about one length, within the width.
QStringList WrapEvenly(const QString& text, const QFont& font, int width, int most) {
  constexpr int kStep = 8;
  const int shortest = QFontMetrics(font).horizontalAdvance(text) / most;
  for (int tried = shortest; tried < width; tried += kStep) {
    QStringList lines = WrapBetweenWords(text, font, tried, most);
    if (!lines.isEmpty()) return lines;
  }
  return WrapBetweenWords(text, font, width, most);
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

int ElidedLabel::MaximumLines() const { return std::max(1, property(kMaximumLines).toInt()); }

QStringList ElidedLabel::Lines() const {
  const QFontMetrics metrics = fontMetrics();
  const int width = contentsRect().width();
  if (text().isEmpty()) return {};
  if (metrics.horizontalAdvance(text()) <= width) return {text()};
  QStringList lines = WrapEvenly(text(), font(), width, MaximumLines());
  if (!lines.isEmpty()) return lines;
  return {metrics.elidedText(text(), Qt::ElideMiddle, width)};
}

QSize ElidedLabel::sizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  return {metrics.averageCharWidth() * kPreferredCharacters,
          metrics.lineSpacing() * MaximumLines()};
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
