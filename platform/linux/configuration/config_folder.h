#pragma once

#include <optional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// Returns the absolute path of one of the user's folders, without a trailing slash: the value of
// the environment variable, or `inHome` below the home folder if the variable is unset, empty or a
// relative path. The home folder is $HOME under the same conditions, otherwise the one in the user
// database, otherwise the root folder. Reads the environment at each call. The folder may be
// missing.
std::string UserFolder(const char* variable, const std::string& inHome);

// Returns the configuration folder: "tessary" in $XDG_CONFIG_HOME, or in ".config" in the home
// folder.
std::string ConfigFolder();

// A copy of the environment variables that ConfigFolder() depends on. A caller that keeps a value
// computed from that folder checks here whether the value is still valid.
class ConfigEnvironment {
 public:
  // Returns true if the variables have not changed since Capture(); false before the first
  // Capture().
  bool IsCurrent() const;

  void Capture();

 private:
  bool isCaptured_ = false;
  std::optional<std::string> configHome_;
  std::optional<std::string> home_;
};

// Creates the folder with this absolute path and its missing parents, each with mode 0700. Returns
// noErr also if the folder exists; otherwise the status of the filesystem.
Status MakeFolderAndParents(const std::string& path);

// Creates the configuration folder in the same way.
Status MakeConfigFolder();

}  // namespace tessary
