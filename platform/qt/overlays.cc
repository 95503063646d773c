#include "platform/qt/overlays.h"

#include <QColor>
#include <QPainter>
#include <QPalette>
#include <QPen>

namespace tessary {
namespace {

constexpr qreal kHiliteWidth = 3;
constexpr qreal kHiliteRadius = 8;
constexpr float kTint = 0.10F;  // opacity of the area inside the frame

void MakeInputTransparent(QWidget* widget) {
  widget->setAttribute(Qt::WA_TransparentForMouseEvents);
  widget->setFocusPolicy(Qt::NoFocus);
  widget->hide();
}

}  // namespace

DropHilite::DropHilite(QWidget* parent) : QWidget(parent) { MakeInputTransparent(this); }

void DropHilite::ShowIn(const QRect& bounds) {
  setGeometry(bounds);
  raise();
  show();
}

void DropHilite::paintEvent(QPaintEvent* /*event*/) {
  QColor ink = palette().color(QPalette::Highlight);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(ink, kHiliteWidth));
  ink.setAlphaF(kTint);
  painter.setBrush(ink);
  constexpr qreal kInset = kHiliteWidth / 2;
  painter.drawRoundedRect(QRectF(rect()).adjusted(kInset, kInset, -kInset, -kInset), kHiliteRadius,
                          kHiliteRadius);
}

FadeOverlay::FadeOverlay(QWidget* parent) : QWidget(parent) {
  MakeInputTransparent(this);
  setGeometry(parent->rect());
  raise();
  show();
}

void FadeOverlay::SetOpacity(qreal opacity) {
  opacity_ = opacity;
  update();
}

void FadeOverlay::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setOpacity(opacity_);
  painter.fillRect(rect(), palette().color(QPalette::Window));
}

}  // namespace tessary
