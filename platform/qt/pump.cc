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

// Hands all of the window to the display anew, a few times a second. While nothing is delivered,
// the program does not hear that another window has gone from above its own, and what that window
// covered would keep its picture.
void FlushWholeWindow(const QWidget& window) {
  static QElapsedTimer gSinceLast;
  if (gSinceLast.isValid() && gSinceLast.elapsed() < kWholeWindowFlushInterval) return;
  gSinceLast.start();
  QBackingStore* picture = window.backingStore();
  if (picture != nullptr) picture->flush(QRegion(window.rect()), window.windowHandle());
}

}  // namespace

void PumpWindows() {
  // What was shown or hidden moves its neighbours by an event that would otherwise wait for the
  // loop.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  const QWidgetList windows = QApplication::topLevelWidgets();
  for (QWidget* window : windows) {
    if (!window->isVisible()) continue;
    AdvanceBusyIndicators(*window);
    // Paints the parts that are marked as changed, and no others.
    QEvent update(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(window, &update);
    FlushWholeWindow(*window);
  }
  FlushToDisplay();
}

// The display connections, X11's and Wayland's, write out what they have collected when the event
// loop is about to wait. Painting alone does not reach the screen on Wayland.
void FlushToDisplay() {
  QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
  if (dispatcher != nullptr) Q_EMIT dispatcher->aboutToBlock();
}

}  // namespace tessary
