#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/managers/status.h"

// Menu files: the files from which file managers read additional entries for their context menus.
namespace tessary {

// Return the absolute path of the file `name`, a relative path, in the user's configuration folder
// ($XDG_CONFIG_HOME, or ~/.config) and in the user's data folder ($XDG_DATA_HOME, or
// ~/.local/share). The file and the folder need not exist.
std::string UserConfigurationPath(const std::string& name);
std::string UserDataPath(const std::string& name);

// Returns the text of the file `name`, a relative path, from the first of the system's
// configuration folders ($XDG_CONFIG_DIRS, or /etc/xdg) in which it exists and can be read; none if
// there is no such folder.
std::optional<std::string> ReadSystemConfiguration(const std::string& name);

// True if a folder of $PATH contains an executable file of that name, so that a menu entry can
// start it. Relative folders are ignored: file managers have other working folders.
bool IsProgramInstalled(const std::string& name);

// Reads a menu file; a link is followed. Returns noErr; fnfErr (no such file); paramErr (no
// out-argument, not a regular file, or too large for a menu file); otherwise a filesystem error.
// `*text` is written on success only.
Status ReadMenuFile(const std::string& path, std::string* text);

enum class MenuFileKind : uint8_t {
  kDocument,
  kProgram,  // is made executable for its owner
};

enum class MenuFileChange : uint8_t { kNone, kWrite, kDelete };

// Decides how a menu file changes. `text` is its current text, or none if there is no file. For
// kWrite and for kDelete the editor writes the new text into `*newText`: if the path is a symbolic
// link, kDelete writes that text to the link's target instead of deleting it, because the user
// keeps the file elsewhere. The editor is called again if another program changed the file
// meanwhile.
using MenuFileEditor =
    std::function<MenuFileChange(const std::optional<std::string>& text, std::string* newText)>;

// Changes the menu file at `path` as the editor decides. The file is replaced atomically and keeps
// its mode and attributes; a link is followed. Missing parent folders are created, accessible to
// their owner only. Returns noErr; fBsyErr (another program keeps changing the file); paramErr (an
// empty editor, not a regular file, or too large); otherwise a filesystem error. On failure the
// file is unchanged.
Status EditMenuFile(const std::string& path, MenuFileKind kind, const MenuFileEditor& editor);

}  // namespace tessary
