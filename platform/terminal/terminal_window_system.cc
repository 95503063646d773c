#include "platform/terminal/terminal_window_system.h"

#include <cstdlib>
#include <utility>

namespace tessary {
namespace {

constexpr OSType kControlSignature = FourCharCode("CNTL");
constexpr int32_t kStatusText = 1;
constexpr int32_t kActivityIndicator = 2;

// Of what a control that nobody sees is told, only its value can be asked back.
class HiddenControl : public Control {
 public:
  void SetText(const std::string&) override {}
  void Draw() override {}
  void SetVisible(bool) override {}
  void SetEnabled(bool) override {}
  void SetValue(int32_t value) override { value_ = value; }
  int32_t GetValue() const override { return value_; }

 private:
  int32_t value_ = 0;
};

class StatusTextControl : public HiddenControl {
 public:
  explicit StatusTextControl(TerminalWindowSystem* system) : system_(system) {}
  void SetText(const std::string& text) override { system_->SetStatusText(text); }

 private:
  TerminalWindowSystem* system_;
};

class ActivityIndicator : public HiddenControl {
 public:
  explicit ActivityIndicator(TerminalWindowSystem* system) : system_(system) {}
  void SetVisible(bool isVisible) override { system_->SetBusy(isVisible); }

 private:
  TerminalWindowSystem* system_;
};

Status InstallOnce(bool* isInstalled) {
  return std::exchange(*isInstalled, true) ? duplicateHandlerErr : noErr;
}

class HiddenWindow : public Window {
 public:
  // Makes a control that was not asked for before.
  Status GetControlByID(const ControlID& id, ControlRef* control) override {
    if (control == nullptr) return paramErr;
    if (id.signature != kControlSignature) return errUnknownControl;
    std::unique_ptr<Control>& found = controls_[id.id];
    if (found == nullptr) found = std::make_unique<HiddenControl>();
    *control = found.get();
    return noErr;
  }

  EventTarget GetEventTarget() override { return target_; }
  void Show() override {}
  void Hide() override {}
  void BringToFront() override {}
  void SetTitle(const std::string&) override {}
  void SetProxy(const FSSpec&) override {}
  void SetModified(bool) override {}
  Status ShowAsSheetOf(Window*) override { return noErr; }
  Status HideSheet() override { return noErr; }
  void FadeOut() override {}
  Rect GetContentBounds() const override { return {}; }
  void ShowDragHilite(const Rect&) override {}
  void HideDragHilite() override {}

  // No drag ever comes, so that the handlers themselves need not be kept.
  Status InstallTrackingHandler(DragTrackingHandler) override {
    return InstallOnce(&hasTrackingHandler_);
  }
  Status RemoveTrackingHandler() override {
    return std::exchange(hasTrackingHandler_, false) ? noErr : handlerNotFoundErr;
  }
  Status InstallReceiveHandler(DragReceiveHandler) override {
    return InstallOnce(&hasReceiveHandler_);
  }

 protected:
  void SetControl(int32_t id, std::unique_ptr<Control> control) {
    controls_[id] = std::move(control);
  }

 private:
  std::map<int32_t, std::unique_ptr<Control>> controls_;
  EventTarget target_;
  bool hasTrackingHandler_ = false;
  bool hasReceiveHandler_ = false;
};

class TerminalMainWindow : public HiddenWindow {
 public:
  explicit TerminalMainWindow(TerminalWindowSystem* system) {
    SetControl(kStatusText, std::make_unique<StatusTextControl>(system));
    SetControl(kActivityIndicator, std::make_unique<ActivityIndicator>(system));
  }
};

class TerminalNib : public Nib {
 public:
  explicit TerminalNib(TerminalWindowSystem* system) : system_(system) {}

  Status CreateMenuBar(const std::string&) override { return fnfErr; }

  Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) override {
    if (name == "MainWindow") {
      *window = std::make_unique<TerminalMainWindow>(system_);
    } else {
      *window = std::make_unique<HiddenWindow>();
    }
    return noErr;
  }

 private:
  TerminalWindowSystem* system_;
};

}  // namespace

void TerminalWindowSystem::SetBusy(bool isBusy) {
  if (isBusy == statusLine_.has_value()) return;
  if (isBusy) {
    busySeconds_.reset();
    busySince_ = now_();
    statusLine_.emplace(now_);
    return;
  }
  statusLine_.reset();
  busySeconds_ = std::chrono::duration<double>(now_() - busySince_).count();
}

Status TerminalWindowSystem::CreateNibReference(const std::string&, std::unique_ptr<Nib>* nib) {
  *nib = std::make_unique<TerminalNib>(this);
  return noErr;
}

void TerminalWindowSystem::RunApplicationEventLoop() {
  while (!timers_.empty()) {
    const auto next = timers_.extract(timers_.begin());
    loopTime_ = next.key();
    next.mapped()();
  }
}

Status TerminalWindowSystem::InstallEventLoopTimer(double delay, std::function<void()> routine) {
  timers_.emplace(loopTime_ + delay, std::move(routine));
  return noErr;
}

void TerminalWindowSystem::ExitToShell() {
  // The line would stay on the terminal.
  statusLine_.reset();
  std::_Exit(EXIT_SUCCESS);
}

std::optional<std::string> TerminalWindowSystem::RunOpenPanel(const NSOpenPanel&) {
  return answerPanel_ ? answerPanel_() : std::nullopt;
}

}  // namespace tessary
