#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/managers/windows.h"

// The windows, controls, menus and forms of RecordingWindowSystem, which records each call as a
// line.
namespace tessary::test {

class RecordingWindowSystem;

class RecordingControl : public Control {
 public:
  RecordingControl(RecordingWindowSystem* system, int32_t id) : system_(system), id_(id) {}

  void SetText(const std::string& text) override;
  void Draw() override;
  void SetVisible(bool isVisible) override;
  void SetEnabled(bool isEnabled) override;
  void SetValue(int32_t value) override;
  int32_t GetValue() const override { return value_; }

  // Sets the value as a user does, without a recorded call.
  void Choose(int32_t value) { value_ = value; }

  const std::string& Text() const { return text_; }

 private:
  RecordingWindowSystem* system_;
  int32_t id_;
  std::string text_;
  int32_t value_ = 0;
};

class RecordingWindow : public Window {
 public:
  // Has the controls of the form of that name.
  RecordingWindow(RecordingWindowSystem* system, const std::string& name);
  ~RecordingWindow() override;

  Status GetControlByID(const ControlID& id, ControlRef* control) override;
  EventTarget GetEventTarget() override;
  void Show() override;
  void Hide() override;
  void BringToFront() override;
  void SetTitle(const std::string& title) override;
  void SetProxy(const FSSpec& spec) override;
  void SetModified(bool isModified) override;
  Status ShowAsSheetOf(Window* parent) override;
  Status HideSheet() override;
  void FadeOut() override;
  Rect GetContentBounds() const override {
    return {.left = 0, .top = 0, .right = 400, .bottom = 300};
  }
  void ShowDragHilite(const Rect& bounds) override;
  void HideDragHilite() override;
  Status InstallTrackingHandler(DragTrackingHandler handler) override;
  Status RemoveTrackingHandler() override;
  Status InstallReceiveHandler(DragReceiveHandler handler) override;

  const std::string& Name() const { return name_; }

  // The control with this number. Throws if the form has none, which fails the test.
  RecordingControl& ControlOf(int32_t id);

  // Drags over the window and drops there. Returns the error of the tracking handler if that
  // rejects the drag, otherwise the status of the receive handler.
  Status Drop(const Drag& drag);

 private:
  RecordingWindowSystem* system_;
  std::string name_;
  std::map<int32_t, std::unique_ptr<RecordingControl>> controls_;
  EventTarget target_;
  DragTrackingHandler trackingHandler_;
  DragReceiveHandler receiveHandler_;
};

class RecordingMenu : public Menu {
 public:
  explicit RecordingMenu(RecordingWindowSystem* system) : system_(system) {}

  Status InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) override;
  EventTarget GetEventTarget() override;

  // The texts of the items, from the top.
  const std::vector<std::string>& Items() const { return items_; }

 private:
  RecordingWindowSystem* system_;
  std::vector<std::string> items_ = {"Tessary Help"};
  EventTarget target_;
};

class RecordingNib : public Nib {
 public:
  RecordingNib(RecordingWindowSystem* system, const std::string& name)
      : system_(system), name_(name) {}
  ~RecordingNib() override;

  Status CreateMenuBar(const std::string& name) override;
  Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) override;

 private:
  RecordingWindowSystem* system_;
  std::string name_;
};

}  // namespace tessary::test
