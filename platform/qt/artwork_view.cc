#include "platform/qt/artwork_view.h"

#include <QColor>
#include <QFile>
#include <QPainter>
#include <QPen>
#include <QSvgRenderer>
#include <algorithm>
#include <array>

// The macro must be used outside of any namespace. The call makes the linker take the pictures from
// the static library.
static void LoadArtworkResource() { Q_INIT_RESOURCE(artwork); }

namespace tessary {
namespace {

constexpr QSize kPreferredSize(200, 140);  // device-independent pixels
constexpr char kDrawing[] = ":/artwork/drop_target.svg";

// The frame around the drawing, in device-independent pixels.
constexpr qreal kFrameInk = 0.45;  // share of the text's colour
constexpr qreal kFrameWidth = 1.5;
constexpr qreal kFrameRadius = 12;
constexpr qreal kDash = 5;  // both in widths of the pen
constexpr qreal kGap = 4;
constexpr qreal kMargin = 16;
constexpr qreal kMaxDrawingHeight = 190;  // height of the drawing

// A colour in the file of the drawing and its replacement: a colour of the palette, mixed with the
// window's background.
struct Role {
  const char* drawn;
  QPalette::ColorRole ink;
  qreal share;  // of the palette's colour; the rest is the background
};
constexpr std::array kRoles = {
    Role{"#3a7bd5", QPalette::Highlight, 1.0},  Role{"#6fa0e3", QPalette::Highlight, 0.7},
    Role{"#a6c5f0", QPalette::Highlight, 0.42}, Role{"#dbe7f8", QPalette::Highlight, 0.18},
    Role{"#f4f5f7", QPalette::Window, 1.0},
};

QColor Mix(const QColor& ink, const QColor& paper, qreal share) {
  const auto part = [share](int first, int second) {
    return qRound(first * share + second * (1 - share));
  };
  return {part(ink.red(), paper.red()), part(ink.green(), paper.green()),
          part(ink.blue(), paper.blue())};
}

QByteArray ReadDrawing() {
  LoadPictures();
  QFile file(kDrawing);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

void LoadPictures() { LoadArtworkResource(); }

ArtworkView::ArtworkView(QWidget* parent) : QWidget(parent), drawing_(ReadDrawing()) {}

QSize ArtworkView::sizeHint() const { return kPreferredSize; }

void ArtworkView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor ink =
      Mix(palette().color(QPalette::WindowText), palette().color(QPalette::Window), kFrameInk);
  QPen pen(ink, kFrameWidth);
  pen.setDashPattern({kDash, kGap});
  painter.setPen(pen);
  painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), kFrameRadius, kFrameRadius);

  QSvgRenderer renderer(RecolourDrawing(palette(), drawing_));
  QRectF place(0, 0, width() - 2 * kMargin, std::min(height() - 2 * kMargin, kMaxDrawingHeight));
  place.setSize(QSizeF(renderer.defaultSize()).scaled(place.size(), Qt::KeepAspectRatio));
  place.moveCenter(QRectF(rect()).center());
  renderer.render(&painter, place);
}

QByteArray RecolourDrawing(const QPalette& palette, QByteArray drawing) {
  const QColor paper = palette.color(QPalette::Window);
  for (const Role& role : kRoles) {
    const QColor colour = Mix(palette.color(role.ink), paper, role.share);
    drawing.replace(role.drawn, colour.name().toLatin1());
  }
  return drawing;
}

}  // namespace tessary
