#pragma once

#include <cstdint>
#include <string>

#include "platform/managers/events.h"
#include "platform/managers/status.h"

// Controls of a window. Every function accepts a null control and then does nothing.
namespace tessary {

struct ControlID {
  OSType signature = 0;
  int32_t id = 0;

  bool operator==(const ControlID&) const = default;
};

inline constexpr OSType kControlStaticTextCFStringTag = FourCharCode("cfst");

// One control. Its window creates and owns it.
class Control {
 public:
  virtual ~Control() = default;

  // Sets the text that the control shows, UTF-8. It appears on the screen at the next Draw or pump,
  // at the display's rate, or in the next iteration of the event loop.
  virtual void SetText(const std::string& text) = 0;
  virtual void Draw() = 0;
  virtual void SetVisible(bool isVisible) = 0;
  virtual void SetEnabled(bool isEnabled) = 0;

  // The value of a check box is 0 or 1; that of a pop-up menu is the number of the chosen item,
  // counted from 1.
  virtual void SetValue(int32_t value) = 0;
  virtual int32_t GetValue() const = 0;
};

using ControlRef = Control*;

// Sets the text of a static text control, UTF-8. Returns noErr; paramErr (no control, or a tag
// other than kControlStaticTextCFStringTag).
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

// Returns the control's value, or 0 if there is no control.
inline int32_t GetControl32BitValue(ControlRef control) {
  return control != nullptr ? control->GetValue() : 0;
}

}  // namespace tessary
