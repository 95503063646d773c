#pragma once

#include <cstdint>
#include <string>

#include "platform/managers/events.h"
#include "platform/managers/status.h"

// Controls of a window. Every function takes a null control and does nothing with it.
namespace tessary {

struct ControlID {
  OSType signature = 0;
  int32_t id = 0;

  bool operator==(const ControlID&) const = default;
};

inline constexpr OSType kControlStaticTextCFStringTag = FourCharCode("cfst");

// One control, made and owned by its window.
class Control {
 public:
  virtual ~Control() = default;

  // The text that it shows, UTF-8. It is on the screen after the next Draw, or when the event loop
  // comes round.
  virtual void SetText(const std::string& text) = 0;
  virtual void Draw() = 0;
  virtual void SetVisible(bool isVisible) = 0;
  virtual void SetEnabled(bool isEnabled) = 0;

  // A check box has 0 or 1, a pop-up menu the number of its item, counted from 1.
  virtual void SetValue(int32_t value) = 0;
  virtual int32_t GetValue() const = 0;
};

using ControlRef = Control*;

// Sets the text of a static text control. Answers noErr, paramErr (no control, or another tag).
inline Status SetControlData(ControlRef control, OSType tag, const std::string& text) {
  if (control == nullptr || tag != kControlStaticTextCFStringTag) return paramErr;
  control->SetText(text);
  return noErr;
}

inline void Draw1Control(ControlRef control) {
  if (control != nullptr) control->Draw();
}

inline void ShowControl(ControlRef control) {
  if (control != nullptr) control->SetVisible(true);
}

inline void HideControl(ControlRef control) {
  if (control != nullptr) control->SetVisible(false);
}

inline void EnableControl(ControlRef control) {
  if (control != nullptr) control->SetEnabled(true);
}

inline void DisableControl(ControlRef control) {
  if (control != nullptr) control->SetEnabled(false);
}

inline void SetControl32BitValue(ControlRef control, int32_t value) {
  if (control != nullptr) control->SetValue(value);
}

inline int32_t GetControl32BitValue(ControlRef control) {
  return control != nullptr ? control->GetValue() : 0;
}

}  // namespace tessary
