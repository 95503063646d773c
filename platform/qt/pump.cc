#include "platform/qt/pump.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QBackingStore>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QRegion>
#include <QWidget>

#include "platform/qt/busy_indicator.h"

namespace tessary {
namespace {

constexpr int64_t kWholeWindowFlushInterval = 100;  // milliseconds

void AdvanceBusyIndicators(const QWidget& window) {
  const QList<QWidget*> children = window.findChildren<QWidget*>();
  for (QWidget* child : children) {
    auto* indicator = dynamic_cast<BusyIndicator*>(child);
    if (indicator != nullptr && indicator->isVisible()) indicator->Advance();
  }
}

// Flushes the whole window, at most ten times per second. During a run no expose events are
// delivered, so that an area that another window covered would keep the picture of that window.
void FlushWholeWindow(const QWidget& window) {
  static QElapsedTimer gSinceLast;
  if (gSinceLast.isValid() && gSinceLast.elapsed() < kWholeWindowFlushInterval) return;
  gSinceLast.start();
  QBackingStore* picture = window.backingStore();
  if (picture != nullptr) picture->flush(QRegion(window.rect()), window.windowHandle());
}

}  // namespace

void PumpWindows() {
  // Showing or hiding a widget posts a layout request, which would otherwise wait for the event
  // loop.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  const QWidgetList windows = QApplication::topLevelWidgets();
  for (QWidget* window : windows) {
    if (!window->isVisible()) continue;
    AdvanceBusyIndicators(*window);
    // Paints only the parts that are marked as changed.
    QEvent update(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(window, &update);
    FlushWholeWindow(*window);
  }
  FlushToDisplay();
}

// Qt's connections to X11 and Wayland write out their buffered requests on aboutToBlock(). On
// Wayland, painting alone does not reach the screen.
void FlushToDisplay() {
  QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
  if (dispatcher != nullptr) Q_EMIT dispatcher->aboutToBlock();
}

}  // namespace tessary
