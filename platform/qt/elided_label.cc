#include "platform/qt/elided_label.h"

#include <QFontMetrics>
#include <QHelpEvent>
#include <QPainter>
#include <QPalette>
#include <QStyle>
#include <QTextLayout>
#include <QTextOption>
#include <QToolTip>
#include <QVariant>
#include <algorithm>

namespace tessary {
namespace {

constexpr char kMaximumLines[] = "maximumLines";
constexpr int kAnnouncementInterval = 500;  // milliseconds
constexpr char kMinimumText[] = "minimumText";
constexpr int kWidthStep = 8;  // device-independent pixels
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
  QStringList widest = WrapBetweenWords(text, font, width, maximum);
  if (widest.isEmpty()) return {};
  const int shortest = QFontMetrics(font).horizontalAdvance(text) / maximum;
  for (int candidate = shortest; candidate < width; candidate += kWidthStep) {
    QStringList lines = WrapBetweenWords(text, font, candidate, maximum);
    if (!lines.isEmpty()) return lines;
  }
  return widest;
}

}  // namespace

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  announcement_.setSingleShot(true);
  announcement_.setInterval(kAnnouncementInterval);
  announcement_.callOnTimeout(this, &ElidedLabel::Announce);
}

void ElidedLabel::SetPlainText(const QString& text) {
  if (text == text_) return;
  text_ = text;
  update();
  if (!announcement_.isActive()) Announce();
}

QString ElidedLabel::Text() const { return WithControlPictures(text_); }

void ElidedLabel::Announce() {
  const QString name = Text();
  if (name == accessibleName()) return;
  setAccessibleName(name);
  announcement_.start();
}

bool ElidedLabel::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QLabel::event(event);
  // Tool tips render HTML. A file name must not be taken for markup.
  QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), Text().toHtmlEscaped(), this);
  return true;
}

int ElidedLabel::MaximumLines() const { return std::max(1, property(kMaximumLines).toInt()); }

QStringList ElidedLabel::Lines() const {
  const QString shown = Text();
  const QFontMetrics metrics = fontMetrics();
  const int width = contentsRect().width();
  if (shown.isEmpty()) return {};
  if (metrics.horizontalAdvance(shown) <= width) return {shown};
  QStringList lines = WrapEvenly(shown, font(), width, MaximumLines());
  if (!lines.isEmpty()) return lines;
  return {metrics.elidedText(shown, Qt::ElideMiddle, width)};
}

QSize ElidedLabel::sizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  return {metrics.averageCharWidth() * kPreferredCharacters,
          metrics.lineSpacing() * MaximumLines()};
}

QSize ElidedLabel::minimumSizeHint() const {
  const int width = fontMetrics().averageCharWidth() * kMinimumCharacters;
  return {std::max(width, WidthOfMinimumText()), sizeHint().height()};
}

int ElidedLabel::WidthOfMinimumText() const {
  const QString minimum = property(kMinimumText).toString();
  const int whole = fontMetrics().horizontalAdvance(minimum);
  int width = whole / MaximumLines();
  while (width < whole && WrapBetweenWords(minimum, font(), width, MaximumLines()).isEmpty()) {
    width += kWidthStep;
  }
  return width;
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
