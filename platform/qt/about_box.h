#pragma once

#include <QWidget>

namespace tessary {

// Shows the program's name, version and licence over `parent`, which may be null. Returns at once.
void ShowAboutBox(QWidget* parent);

}  // namespace tessary
