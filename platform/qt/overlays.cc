#include "platform/qt/overlays.h"

#include <QColor>
#include <QPainter>
#include <QPalette>
#include <QPen>

namespace tessary {
namespace {

constexpr qreal kFrameWidth = 3;
constexpr qreal kFrameRadius = 8;
constexpr float kTint = 0.10F;  // opacity of the area inside the frame

void LetEverythingThrough(QWidget* widget) {
  widget->setAttribute(Qt::WA_TransparentForMouseEvents);
  widget->setFocusPolicy(Qt::NoFocus);
  widget->hide();
}

}  // namespace

DropHilite::DropHilite(QWidget* parent) : QWidget(parent) { LetEverythingThrough(this); }

void DropHilite::ShowIn(const QRect& bounds) {
  setGeometry(bounds);
  raise();
  show();
}

void DropHilite::paintEvent(QPaintEvent* /*event*/) {
  QColor ink = palette().color(QPalette::Highlight);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(ink, kFrameWidth));
  ink.setAlphaF(kTint);
  painter.setBrush(ink);
  constexpr qreal kInset = kFrameWidth / 2;
  painter.drawRoundedRect(QRectF(rect()).adjusted(kInset, kInset, -kInset, -kInset), kFrameRadius,
                          kFrameRadius);
}

Curtain::Curtain(QWidget* parent) : QWidget(parent) {
  LetEverythingThrough(this);
  setGeometry(parent->rect());
  raise();
  show();
}

void Curtain::SetSolidity(qreal solidity) {
  solidity_ = solidity;
  update();
}

void Curtain::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setOpacity(solidity_);
  painter.fillRect(rect(), palette().color(QPalette::Window));
}

}  // namespace tessary
