#include "platform/qt/window.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QDropEvent>
#include <QEvent>
#include <QEventLoop>
#include <QFile>
#include <QMainWindow>
#include <QThread>
#include <QTimer>
#include <QVariant>
#include <QWindow>
#include <array>
#include <utility>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/qt/control.h"
#include "platform/qt/pump.h"

namespace tessary {
namespace {

constexpr OSType kControlSignature = FourCharCode("CNTL");
constexpr char kControlID[] = "controlID";
constexpr char kCommandID[] = "commandID";
constexpr char kCloseCommandID[] = "closeCommandID";
constexpr int kExposureTimeout = 3000;  // milliseconds; a window on a hidden desktop never appears
constexpr int kFadeSteps = 24;
constexpr unsigned long kFadeStep = 16;  // milliseconds
constexpr size_t kPathSize = 4096;

OSType CommandOf(const QWidget* widget, const char* property) {
  return CommandIDFromText(widget->property(property).toString());
}

// Waits until the window is on the screen, at most kExposureTimeout. Input events wait; requests of
// other programs are queued as tasks.
void WaitUntilExposed(const QWidget* widget) {
  bool isTimeUp = false;
  QTimer limit;
  QObject::connect(&limit, &QTimer::timeout, &limit, [&isTimeUp] { isTimeUp = true; });
  limit.setSingleShot(true);
  limit.start(kExposureTimeout);
  while (!isTimeUp && widget->windowHandle() != nullptr && !widget->windowHandle()->isExposed()) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                    QEventLoop::WaitForMoreEvents);
  }
}

// Reports a copy to the drag's source, whatever the user requested: after a move, the source would
// delete its items.
void AcceptAsCopy(QDropEvent* event) {
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

QString PathOfSpec(const FSSpec& spec) {
  const NSAutoreleasePool pool;
  FSRef ref;
  std::array<char, kPathSize> path;
  if (FSpMakeFSRef(spec, &ref) != noErr) return {};
  if (FSRefMakePath(ref, path.data(), path.size()) != noErr) return {};
  return QFile::decodeName(path.data());
}

}  // namespace

QtWindow::QtWindow(std::unique_ptr<QWidget> widget, CommandSender* commands, TaskQueue* tasks)
    : widget_(widget.release()), commands_(commands), tasks_(tasks) {
  widget_->installEventFilter(this);
  const QList<QWidget*> children = widget_->findChildren<QWidget*>();
  for (QWidget* child : children) {
    const QVariant id = child->property(kControlID);
    if (id.isValid()) controls_.emplace(id.toInt(), MakeControl(child));
  }
  ConnectCommands();
}

// Deletes the widget later, from the event loop: the window may be disposed of by the handler of a
// command that one of its own buttons sends, and that button must survive until its signal returns.
QtWindow::~QtWindow() {
  controls_.clear();
  if (widget_ == nullptr) return;
  widget_->removeEventFilter(this);
  widget_->hide();
  widget_->deleteLater();
}

Status QtWindow::GetControlByID(const ControlID& id, ControlRef* control) {
  if (control == nullptr) return paramErr;
  const auto found = controls_.find(id.id);
  if (id.signature != kControlSignature || found == controls_.end()) return errUnknownControl;
  *control = found->second.get();
  return noErr;
}

void QtWindow::Show() {
  widget_->show();
  WaitUntilExposed(widget_);
  PumpWindows();
}

void QtWindow::Hide() { widget_->hide(); }

void QtWindow::BringToFront() {
  if (widget_->isMinimized()) widget_->showNormal();
  widget_->raise();
  widget_->activateWindow();
}

// Qt replaces "[*]" in a title with the mark of a modified window, and "[*][*]" with "[*]".
void QtWindow::SetTitle(const std::string& title) {
  QString text = QString::fromStdString(title);
  text.replace("[*]", "[*][*]");
  widget_->setWindowTitle(text + "[*]");
}

void QtWindow::SetProxy(const FSSpec& spec) { widget_->setWindowFilePath(PathOfSpec(spec)); }

void QtWindow::SetModified(bool isModified) { widget_->setWindowModified(isModified); }

Status QtWindow::ShowAsSheetOf(Window* parent) {
  auto* window = dynamic_cast<QtWindow*>(parent);
  if (window == nullptr || window->widget_ == nullptr) return paramErr;
  if (widget_->parentWidget() != window->widget_) {
    widget_->setParent(window->widget_, Qt::Dialog | Qt::Sheet);
  }
  widget_->show();
  widget_->raise();
  widget_->activateWindow();
  parentBlock_ = std::make_unique<InputBlock>(widget_, QList<QWidget*>{window->widget_});
  return noErr;
}

Status QtWindow::HideSheet() {
  parentBlock_ = nullptr;
  widget_->hide();
  return noErr;
}

void QtWindow::FadeOut() {
  if (widget_->isVisible()) {
    FadeOverlay fade(widget_);
    for (int step = 1; step <= kFadeSteps; ++step) {
      // Cubic, slow at first, so that the last text can be read.
      const qreal part = static_cast<qreal>(step) / kFadeSteps;
      fade.SetOpacity(part * part * part);
      PumpWindows();
      QThread::msleep(kFadeStep);
    }
  }
  widget_->hide();
  FlushToDisplay();
}

QWidget* QtWindow::Content() const {
  auto* window = qobject_cast<QMainWindow*>(widget_.data());
  const bool hasContent = window != nullptr && window->centralWidget() != nullptr;
  return hasContent ? window->centralWidget() : widget_.data();
}

Rect QtWindow::GetContentBounds() const {
  const QWidget* content = Content();
  const QPoint corner = content->mapTo(widget_, QPoint(0, 0));
  return {.left = corner.x(),
          .top = corner.y(),
          .right = corner.x() + content->width(),
          .bottom = corner.y() + content->height()};
}

void QtWindow::ShowDragHilite(const Rect& bounds) {
  if (hilite_ == nullptr) hilite_ = new DropHilite(widget_);
  hilite_->ShowIn(
      {bounds.left, bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top});
}

void QtWindow::HideDragHilite() {
  if (hilite_ != nullptr) hilite_->hide();
}

Status QtWindow::InstallTrackingHandler(DragTrackingHandler handler) {
  if (!handler) return paramErr;
  if (trackingHandler_) return duplicateHandlerErr;
  trackingHandler_ = std::move(handler);
  return noErr;
}

Status QtWindow::RemoveTrackingHandler() {
  if (!trackingHandler_) return handlerNotFoundErr;
  trackingHandler_ = nullptr;
  return noErr;
}

Status QtWindow::InstallReceiveHandler(DragReceiveHandler handler) {
  if (!handler) return paramErr;
  if (receiveHandler_) return duplicateHandlerErr;
  receiveHandler_ = std::move(handler);
  return noErr;
}

void QtWindow::ConnectCommands() {
  const QList<QWidget*> children = widget_->findChildren<QWidget*>();
  for (QWidget* child : children) {
    if (CommandOf(child, kCommandID) == 0) continue;
    // Only a user's action emits these signals. Setting a value must not send a command.
    if (auto* button = qobject_cast<QAbstractButton*>(child)) {
      connect(button, &QAbstractButton::clicked, this, [this, child] { SendCommandOf(child); });
    } else if (auto* menu = qobject_cast<QComboBox*>(child)) {
      connect(menu, &QComboBox::activated, this, [this, child] { SendCommandOf(child); });
    }
  }
  // The Escape key rejects a dialog without a close event.
  if (auto* dialog = qobject_cast<QDialog*>(widget_.data())) {
    connect(dialog, &QDialog::rejected, this,
            [this] { commands_->Send(target_, CommandOf(widget_, kCloseCommandID)); });
  }
}

void QtWindow::SendCommandOf(const QWidget* widget) {
  commands_->Send(target_, CommandOf(widget, kCommandID));
}

bool QtWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched != widget_) return false;
  switch (event->type()) {
    case QEvent::Close:
      // The handler of the command decides whether the window closes.
      event->ignore();
      commands_->Send(target_, CommandOf(widget_, kCloseCommandID));
      return true;
    case QEvent::DragEnter:
      EnterDrag(event);
      return true;
    case QEvent::DragMove:
      AcceptAsCopy(static_cast<QDropEvent*>(event));
      return true;
    case QEvent::DragLeave:
      LeaveDrag();
      return true;
    case QEvent::Drop:
      Drop(event);
      return true;
    default:
      return false;
  }
}

Status QtWindow::Track(DragTrackingMessage message, const Drag& drag) {
  return trackingHandler_ ? trackingHandler_(message, this, drag) : dragNotAcceptedErr;
}

void QtWindow::EnterDrag(QEvent* event) {
  auto* enter = static_cast<QDropEvent*>(event);
  // File specifications stay valid after the pool has released the references.
  std::optional<NSAutoreleasePool> pool;
  if (tasks_->IsIdle()) pool.emplace();
  drag_.emplace(*enter->mimeData());
  if (Track(DragTrackingMessage::kEnterHandler, *drag_) != noErr) {
    drag_.reset();
    event->ignore();
    return;
  }
  // Only the answer to kEnterHandler decides; the answers to the later messages have no effect.
  (void)Track(DragTrackingMessage::kEnterWindow, *drag_);
  AcceptAsCopy(enter);
}

void QtWindow::LeaveDrag() {
  if (!drag_) return;
  (void)Track(DragTrackingMessage::kLeaveWindow, *drag_);
  (void)Track(DragTrackingMessage::kLeaveHandler, *drag_);
  drag_.reset();
}

// Uses the data that was read when the drag entered, because its source may have released them by
// the time of the drop. During a run or while a panel is open, the drop is accepted and queued.
void QtWindow::Drop(QEvent* event) {
  auto* drop = static_cast<QDropEvent*>(event);
  QtDrag drag = drag_ ? *drag_ : QtDrag(*drop->mimeData());
  LeaveDrag();
  Status status = noErr;
  if (tasks_->IsIdle()) {
    tasks_->RunOrPost([this, &drag, &status] { status = Receive(std::move(drag)); });
  } else {
    tasks_->Post([window = QPointer<QtWindow>(this), drag = std::move(drag)] {
      if (window != nullptr) (void)window->Receive(drag);
    });
  }
  AcceptAsCopy(drop);
  event->setAccepted(status == noErr);
}

Status QtWindow::Receive(QtDrag drag) {
  drag.RemoveVanished();
  return receiveHandler_ ? receiveHandler_(this, drag) : dragNotAcceptedErr;
}

}  // namespace tessary
