#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"
#include "platform/qt/drag.h"
#include "platform/qt/input_block.h"
#include "platform/qt/overlays.h"
#include "platform/qt/task_queue.h"

namespace tessary {

// A window made from a form. Properties of the form's widgets define how it works: "controlID" is
// the ID of a control of signature 'CNTL'; "commandID" is the command that a button, a check box or
// a pop-up menu sends when the user operates it; "closeCommandID", on the form itself, is the
// command that is sent when the user closes the window.
class QtWindow final : public QObject, public Window {
 public:
  // `commands` and `tasks` are owned by the caller and must outlive this object.
  QtWindow(std::unique_ptr<QWidget> widget, CommandSender* commands, TaskQueue* tasks);
  ~QtWindow() override;
  QtWindow(const QtWindow&) = delete;
  QtWindow& operator=(const QtWindow&) = delete;

  Status GetControlByID(const ControlID& id, ControlRef* control) override;
  EventTarget GetEventTarget() override { return target_; }
  void Show() override;
  void Hide() override;
  void BringToFront() override;
  void SetTitle(const std::string& title) override;
  void SetProxy(const FSSpec& spec) override;
  void SetModified(bool isModified) override;
  Status ShowAsSheetOf(Window* parent) override;
  Status HideSheet() override;
  void FadeOut() override;
  Rect GetContentBounds() const override;
  void ShowDragHilite(const Rect& bounds) override;
  void HideDragHilite() override;
  Status InstallTrackingHandler(DragTrackingHandler handler) override;
  Status RemoveTrackingHandler() override;
  Status InstallReceiveHandler(DragReceiveHandler handler) override;

  // The widget, or null after its parent has deleted it.
  QWidget* Widget() const { return widget_; }

  // Turns close events into commands, and drag and drop events into calls of the drag handlers.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ConnectCommands();
  void SendCommandOf(const QWidget* widget);
  QWidget* Content() const;
  Status Track(DragTrackingMessage message, const Drag& drag);
  Status Receive(QtDrag drag);
  void EnterDrag(QEvent* event);
  void LeaveDrag();
  void Drop(QEvent* event);

  QPointer<QWidget> widget_;
  CommandSender* commands_;
  TaskQueue* tasks_;
  EventTarget target_;
  std::map<int32_t, std::unique_ptr<Control>> controls_;
  QPointer<DropHilite> hilite_;
  DragTrackingHandler trackingHandler_;
  DragReceiveHandler receiveHandler_;
  std::optional<QtDrag> drag_;               // the drag over the window, if any
  std::unique_ptr<InputBlock> parentBlock_;  // while this is a sheet
};

}  // namespace tessary
