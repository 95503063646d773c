#include "tests/support/recording_window.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/four_characters.h"
#include "tests/support/recording_window_system.h"

namespace tessary::test {
namespace {

// The numbers of each form's controls.
const std::map<std::string, std::vector<int32_t>>& Forms() {
  static const std::map<std::string, std::vector<int32_t>> kForms = {
      {"MainWindow", {1, 2, 4, 5, 6, 7}}, {"PreferencesWindow", {4, 7, 8}}};
  return kForms;
}

}  // namespace

void RecordingControl::SetText(const std::string& text) {
  text_ = text;
  (void)system_->Record("SetText " + std::to_string(id_) + " \"" + text + "\"");
}

void RecordingControl::Draw() { (void)system_->Record("Draw " + std::to_string(id_)); }

void RecordingControl::SetVisible(bool isVisible) {
  (void)system_->Record((isVisible ? "Show " : "Hide ") + std::to_string(id_));
}

void RecordingControl::SetEnabled(bool isEnabled) {
  (void)system_->Record((isEnabled ? "Enable " : "Disable ") + std::to_string(id_));
}

void RecordingControl::SetValue(int32_t value) {
  value_ = value;
  (void)system_->Record("SetValue " + std::to_string(id_) + " " + std::to_string(value));
}

RecordingWindow::RecordingWindow(RecordingWindowSystem* system, const std::string& name)
    : system_(system), name_(name) {
  const auto form = Forms().find(name);
  if (form == Forms().end()) return;
  for (const int32_t id : form->second) {
    controls_[id] = std::make_unique<RecordingControl>(system, id);
  }
  system_->windows_[name_] = this;
}

RecordingWindow::~RecordingWindow() {
  (void)system_->Record("DisposeWindow " + name_);
  system_->windows_.erase(name_);
}

Status RecordingWindow::GetControlByID(const ControlID& id, ControlRef* control) {
  const Status status = system_->Record("GetControlByID " + FourCharacters(id.signature) + " " +
                                        std::to_string(id.id));
  if (status != noErr) return status;
  const auto found = controls_.find(id.id);
  if (found == controls_.end() || id.signature != FourCharCode("CNTL")) return errUnknownControl;
  *control = found->second.get();
  return noErr;
}

EventTarget RecordingWindow::GetEventTarget() {
  (void)system_->Record("GetWindowEventTarget " + name_);
  return target_;
}

void RecordingWindow::Show() { (void)system_->Record("ShowWindow " + name_); }
void RecordingWindow::Hide() { (void)system_->Record("HideWindow " + name_); }
void RecordingWindow::BringToFront() { (void)system_->Record("BringToFront " + name_); }

void RecordingWindow::SetTitle(const std::string& title) {
  (void)system_->Record("SetTitle \"" + title + "\"");
}

void RecordingWindow::SetProxy(const FSSpec& spec) {
  FSRef ref;
  const bool isValid = FSpMakeFSRef(spec, &ref) == noErr;
  (void)system_->Record(isValid ? "SetProxy" : "SetProxy of nothing");
}

void RecordingWindow::SetModified(bool isModified) {
  (void)system_->Record(isModified ? "SetModified" : "SetUnmodified");
}

Status RecordingWindow::ShowAsSheetOf(Window* parent) {
  const auto* parentWindow = dynamic_cast<const RecordingWindow*>(parent);
  return system_->Record("ShowSheet " + name_ + " of " +
                         (parentWindow == nullptr ? "nothing" : parentWindow->Name()));
}

Status RecordingWindow::HideSheet() { return system_->Record("HideSheet " + name_); }
void RecordingWindow::FadeOut() { (void)system_->Record("FadeOut " + name_); }

void RecordingWindow::ShowDragHilite(const Rect& bounds) {
  (void)system_->Record("ShowDragHilite " + std::to_string(bounds.left) + "," +
                        std::to_string(bounds.top) + " to " + std::to_string(bounds.right) + "," +
                        std::to_string(bounds.bottom));
}

void RecordingWindow::HideDragHilite() { (void)system_->Record("HideDragHilite"); }

Status RecordingWindow::InstallTrackingHandler(DragTrackingHandler handler) {
  const Status status = system_->Record("InstallTrackingHandler");
  if (status == noErr) trackingHandler_ = std::move(handler);
  return status;
}

Status RecordingWindow::RemoveTrackingHandler() {
  trackingHandler_ = nullptr;
  return system_->Record("RemoveTrackingHandler");
}

Status RecordingWindow::InstallReceiveHandler(DragReceiveHandler handler) {
  const Status status = system_->Record("InstallReceiveHandler");
  if (status == noErr) receiveHandler_ = std::move(handler);
  return status;
}

RecordingControl& RecordingWindow::ControlOf(int32_t id) { return *controls_.at(id); }

Status RecordingWindow::Drop(const Drag& drag) {
  if (!trackingHandler_ || !receiveHandler_) return handlerNotFoundErr;
  const auto track = [&](DragTrackingMessage message) {
    return trackingHandler_(message, this, drag);
  };
  const Status status = track(DragTrackingMessage::kEnterHandler);
  if (status != noErr) return status;
  EXPECT_EQ(noErr, track(DragTrackingMessage::kEnterWindow));
  EXPECT_EQ(paramErr, track(DragTrackingMessage::kInWindow));
  EXPECT_EQ(noErr, track(DragTrackingMessage::kLeaveWindow));
  EXPECT_EQ(noErr, track(DragTrackingMessage::kLeaveHandler));
  return receiveHandler_(this, drag);
}

Status RecordingMenu::InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) {
  const Status status =
      system_->Record("InsertItem \"" + text + "\" after " + std::to_string(afterItem) + " " +
                      FourCharacters(commandID));
  if (status != noErr) return status;
  if (afterItem > items_.size()) return paramErr;
  items_.insert(items_.begin() + afterItem, text);
  return noErr;
}

EventTarget RecordingMenu::GetEventTarget() {
  (void)system_->Record("GetMenuEventTarget");
  return target_;
}

RecordingNib::~RecordingNib() {
  (void)system_->Record("DisposeNibReference " + name_);
  system_->nibs_.erase(this);
}

Status RecordingNib::CreateMenuBar(const std::string& name) {
  return system_->Record("CreateMenuBar " + name);
}

Status RecordingNib::CreateWindow(const std::string& name, std::unique_ptr<Window>* window) {
  const Status status = system_->Record("CreateWindow " + name);
  if (status == noErr) *window = std::make_unique<RecordingWindow>(system_, name);
  return status;
}

}  // namespace tessary::test
