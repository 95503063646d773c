#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/managers/status.h"

// The files in which a user's file managers look for what their menus offer besides their own.
namespace tessary {

// The absolute path of the file `name`, a relative path, among what this user's programs are
// configured with ($XDG_CONFIG_HOME, or ~/.config), and among their data ($XDG_DATA_HOME, or
// ~/.local/share). Neither need exist.
std::string UserConfigurationPath(const std::string& name);
std::string UserDataPath(const std::string& name);

// The text of the file `name`, a relative path, in the first folder of the system's configuration
// that has it ($XDG_CONFIG_DIRS, or /etc/xdg); none where no folder has it or it cannot be read.
std::optional<std::string> ReadSystemConfiguration(const std::string& name);

// Reads a menu file. Answers noErr, fnfErr (there is none), paramErr (no out-argument; also no
// regular file, or one too large to be what it should be), else what the file system reports.
// `*text` is written on success only.
Status ReadMenuFile(const std::string& path, std::string* text);

enum class MenuFileKind : uint8_t {
  kDocument,
  kProgram,  // which its owner may run
};

enum class MenuFileChange : uint8_t { kNone, kWrite, kDelete };

// Decides what becomes of a menu file, of which it is given the text, or none where there is no
// file. To write, it puts the new text into `*newText`. To delete it does so too: where the path is
// a symbolic link, what that leads to gets the text instead, because somebody keeps it there.
// It is asked again whenever another program has changed the file meanwhile.
using MenuFileEditor =
    std::function<MenuFileChange(const std::optional<std::string>& text, std::string* newText)>;

// Changes a menu file as the editor decides. The file is replaced whole or not at all, with its
// mode and attributes, what a symbolic link leads to in its place; missing folders above it are
// made, for their user alone. Answers noErr, fBsyErr (another program keeps changing it), what
// ReadMenuFile answers but for fnfErr, else what the file system reports; the file is then as it
// was.
Status EditMenuFile(const std::string& path, MenuFileKind kind, const MenuFileEditor& editor);

}  // namespace tessary
