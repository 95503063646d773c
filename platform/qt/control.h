#pragma once

#include <QWidget>
#include <memory>

#include "platform/managers/controls.h"

namespace tessary {

// Makes the control of a widget: of a label the text, of a check box and of a pop-up menu the
// value, of every widget its visibility and whether it is enabled. The widget outlives it. A
// control that is shown or hidden in a window on the screen is so there at once.
std::unique_ptr<Control> MakeControl(QWidget* widget);

}  // namespace tessary
