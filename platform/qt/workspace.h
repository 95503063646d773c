#pragma once

#include <string>

#include "platform/managers/status.h"

namespace tessary {

// Shows a folder to the user: with the program that the desktop opens folders with, else with the
// file manager on the session bus, else with xdg-open. A file is shown in its folder and never run.
// Answers noErr once one of them has been asked, or kLSApplicationNotFoundErr after a line in the
// log where there is none.
Status ShowFolder(const std::string& path);

// Opens a page where its scheme leads; a line in the log where that is nowhere.
void ShowPage(const std::string& url);

}  // namespace tessary
