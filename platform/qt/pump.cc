#include "platform/qt/pump.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QWidget>

#include "platform/qt/busy_indicator.h"

namespace tessary {
namespace {

// Measures the time since the last PumpWindows. Invalid before the first one.
QElapsedTimer gLastFrame;

void AdvanceBusyIndicators(const QWidget& window) {
  const QList<QWidget*> children = window.findChildren<QWidget*>();
  for (QWidget* child : children) {
    auto* indicator = dynamic_cast<BusyIndicator*>(child);
    if (indicator != nullptr && indicator->isVisible()) indicator->Advance();
  }
}

}  // namespace

// Sends UpdateRequest itself, because Qt posts it with low priority or, on Wayland, waits for the
// compositor to request a frame.
void PumpWindows() {
  gLastFrame.start();
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  const QWidgetList windows = QApplication::topLevelWidgets();
  for (QWidget* window : windows) {
    if (!window->isVisible()) continue;
    AdvanceBusyIndicators(*window);
    // Paints only the parts that are marked as changed.
    QEvent update(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(window, &update);
  }
  FlushToDisplay();
}

void PumpAtDisplayRate() {
  if (IsFrameDue()) PumpWindows();
}

bool IsFrameDue() { return !gLastFrame.isValid() || gLastFrame.hasExpired(kFrameInterval - 1); }

// Qt's connections to X11 and Wayland write out their buffered requests on aboutToBlock(). On
// Wayland, painting alone does not reach the screen.
void FlushToDisplay() {
  QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
  if (dispatcher != nullptr) Q_EMIT dispatcher->aboutToBlock();
}

}  // namespace tessary
