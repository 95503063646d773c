#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <map>
#include <memory>
#include <string>

#include "platform/managers/windows.h"
#include "platform/qt/command_sender.h"
#include "platform/qt/overlays.h"
#include "platform/qt/task_queue.h"

namespace tessary {

// A window over the widget of a form. What the form says of its widgets by properties: "controlID",
// the number of a control of signature 'CNTL'; "commandID", the command that a button, a check box
// or a pop-up menu sends when the user has worked it; "closeCommandID", of the form itself, the
// command that closing the window stands for.
class QtWindow final : public QObject, public Window {
 public:
  // `commands` and `tasks` are the caller's and outlive this.
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

  // The widget; null once it has gone with its parent.
  QWidget* Widget() const { return widget_; }

  // What closing the window, drags over it and drops on it become.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ConnectCommands();
  void SendCommandOf(const QWidget* widget);
  QWidget* Content() const;
  Status Track(DragTrackingMessage message, const Drag& drag);
  Status Receive(const std::shared_ptr<const Drag>& drag);
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
  std::shared_ptr<const Drag> drag_;  // the one that is over the window
};

}  // namespace tessary
