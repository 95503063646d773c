#include "platform/qt/busy_indicator.h"

#include <QPainter>
#include <QPalette>
#include <algorithm>
#include <array>

namespace tessary {
namespace {

// Two frames of most displays: the tiles take longer to paint than the text of an item.
constexpr int64_t kStepMilliseconds = 32;
constexpr int kStepsPerTile = 3;
constexpr int kColumns = 3;
constexpr int kPreferredSide = 96;   // device-independent pixels
constexpr qreal kMinOpacity = 0.16;  // of the tile that was lit longest ago

// The cells of a three by three grid, clockwise around the middle cell, which stays empty.
constexpr std::array<std::array<int, 2>, 8> kCells = {
    {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}}};
constexpr auto kTiles = static_cast<int64_t>(kCells.size());

// Returns 1 for the tile that is lit now. Falls to kMinOpacity with the time since a tile was lit.
qreal OpacityOf(int64_t tile, int64_t phase) {
  constexpr int64_t kRound = kTiles * kStepsPerTile;
  const int64_t age = (phase - tile * kStepsPerTile) % kRound;
  const qreal part = static_cast<qreal>(age < 0 ? age + kRound : age) / static_cast<qreal>(kRound);
  return kMinOpacity + (1 - kMinOpacity) * (1 - part) * (1 - part);
}

}  // namespace

BusyIndicator::BusyIndicator(QWidget* parent) : QWidget(parent) { clock_.start(); }

void BusyIndicator::Advance() {
  const int64_t phase = clock_.elapsed() / kStepMilliseconds;
  if (phase == phase_) return;
  phase_ = phase;
  update();
}

QSize BusyIndicator::sizeHint() const { return {kPreferredSide, kPreferredSide}; }

void BusyIndicator::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (!event->spontaneous()) setAccessibleName(tr("Working"));
}

void BusyIndicator::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  if (!event->spontaneous()) setAccessibleName(tr("Idle"));
}

void BusyIndicator::paintEvent(QPaintEvent* /*event*/) {
  const qreal side = std::min({width(), height(), kPreferredSide});
  const qreal cell = side / kColumns;
  const qreal gap = cell * 0.16;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.translate((width() - side) / 2, (height() - side) / 2);
  painter.setPen(Qt::NoPen);
  painter.setBrush(palette().color(QPalette::Highlight));
  for (int64_t tile = 0; tile < kTiles; ++tile) {
    const auto [column, row] = kCells[static_cast<size_t>(tile)];
    painter.setOpacity(OpacityOf(tile, phase_));
    painter.drawRoundedRect(
        QRectF(column * cell + gap / 2, row * cell + gap / 2, cell - gap, cell - gap), cell * 0.2,
        cell * 0.2);
  }
}

}  // namespace tessary
