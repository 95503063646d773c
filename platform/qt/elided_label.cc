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
constexpr char16_t kControlPictures = 0x2400;  // of U+0000; the others follow in order
constexpr char16_t kPictureOfDelete = 0x2421;

QString WithControlPictures(QString text) {
  for (QChar& unit : text) {
    if (unit.unicode() < u' ')
      unit = QChar(static_cast<char16_t>(kControlPictures + unit.unicode()));
    if (unit.unicode() == 0x7F) unit = QChar(kPictureOfDelete);
    // C1 controls, line and paragraph separators have no control picture.
    if (unit.category() == QChar::Other_Control || unit == QChar::LineSeparator ||
        unit == QChar::ParagraphSeparator) {
      unit = QChar::ReplacementCharacter;
    }
  }
  return text;
}

// Wraps the text between words to lines of that width. Returns no lines if that takes more than
// `maximum` lines, or if a word is wider than a line.
QStringList WrapBetweenWords(const QString& text, const QFont& font, int width, int maximum) {
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
    fits = lines.size() <= maximum && line.naturalTextWidth() <= width;
  }
  layout.endLayout();
  return fits ? lines : QStringList();
}

// Wraps like WrapBetweenWords, but to lines of about equal length: tries widths from the shortest
// possible one up to `width`.
QStringList WrapEvenly(const QString& text, const QFont& font, int width, int maximum) {
  constexpr int kStep = 8;
  const int shortest = QFontMetrics(font).horizontalAdvance(text) / maximum;
  for (int candidate = shortest; candidate < width; candidate += kStep) {
    QStringList lines = WrapBetweenWords(text, font, candidate, maximum);
    if (!lines.isEmpty()) return lines;
  }
  return WrapBetweenWords(text, font, width, maximum);
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
  // Tool tips render HTML. A file name must not be taken for markup.
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
