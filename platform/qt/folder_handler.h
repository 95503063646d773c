#pragma once

#include <optional>
#include <string>

namespace tessary {

// A program that opens folders.
struct FolderHandler {
  std::string entry;    // the name of its desktop entry, "org.example.Files.desktop"
  std::string command;  // the Exec line of that entry
};

// Returns the first installed program, other than this one, for the type inode/directory. Searches
// the default applications of the user and the system, then the added associations, then the
// desktop entries that declare the type. Returns no value if there is no such program.
std::optional<FolderHandler> FindFolderHandler();

// Returns true if this program is associated with folders, or if one of its desktop entries is
// installed. A request to the desktop to open a folder may then start this program again.
bool IsThisProgramFolderHandler();

// Starts the program on a folder and passes the path or the URI, as the field code of its command
// requires. Returns false if it cannot be started.
bool StartFolderHandler(const FolderHandler& handler, const std::string& path);

}  // namespace tessary
