#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "platform/managers/window_system.h"

namespace tessary {

// Runs the desktop's file chooser, or Qt's if the desktop has none, over `parent` (may be null)
// until the user closes it. Returns the chosen path with links resolved. Returns no value if the
// user cancels, or, after a log line, if the chosen path does not exist.
//
// No chooser on Linux selects both files and folders. A panel that asks for both selects folders,
// including packages.
std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel, QWidget* parent);

}  // namespace tessary
