#pragma once

#include <string>

#include "platform/managers/status.h"

namespace tessary {

// Opens a folder in the desktop's default program for folders, else in the file manager on the
// session bus, else with xdg-open. A file is shown in its folder and never opened itself. Returns
// noErr when a program has been started or asked, else kLSApplicationNotFoundErr, after a log line.
Status ShowFolder(const std::string& path);

// Opens a page in the desktop's default program for its scheme. Logs a failure.
void ShowPage(const std::string& url);

}  // namespace tessary
