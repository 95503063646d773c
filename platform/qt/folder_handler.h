#pragma once

#include <optional>
#include <string>

namespace tessary {

// A program that the desktop opens folders with, as its desktop entry tells.
struct FolderHandler {
  std::string entry;    // the name of the desktop entry, "org.example.Files.desktop"
  std::string command;  // its Exec line
};

// The first program that the desktop's settings, its defaults and its list of what programs can do
// name for folders, in this order, and that is installed; never this program. None where there is
// none.
std::optional<FolderHandler> FindFolderHandler();

// True where this program is among those that are named for folders, or offers itself for them:
// whoever asks the desktop to open one may then end up here again.
bool IsThisProgramFolderHandler();

// Starts the program on a folder, by its path or its URI as its command has it. False where it
// cannot be started.
bool StartFolderHandler(const FolderHandler& handler, const std::string& path);

}  // namespace tessary
