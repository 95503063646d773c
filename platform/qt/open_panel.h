#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "platform/managers/window_system.h"

namespace tessary {

// Runs the desktop's chooser, or Qt's where the desktop has none, over `parent` (may be null) until
// its user has answered. The path chosen, links resolved; none where nothing was chosen, or, with a
// line in the log, where what was chosen cannot be found under the name that the chooser tells.
//
// No chooser here offers files and folders at once. A panel that wants both offers folders, among
// them packages, which are folders here.
std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel, QWidget* parent);

}  // namespace tessary
