#pragma once

#include <QWidget>
#include <memory>

#include "platform/managers/controls.h"

namespace tessary {

// Makes the control of a widget. It sets the visibility and the enabled state of every widget, the
// text of a label, and the value of a check box or a pop-up menu. The widget must outlive the
// control. Showing or hiding a control of a visible window updates the screen before it returns.
std::unique_ptr<Control> MakeControl(QWidget* widget);

}  // namespace tessary
