#pragma once

#include <optional>
#include <string>

#include "platform/managers/status.h"

namespace tessary {

// The absolute path of one of the user's own folders, without a slash at its end: what the
// environment variable says. Where that is unset, empty or a relative path, `inHome` in $HOME; and
// where that is unset, empty or relative too, in the home folder that the system's list of users
// names, or in the root folder where it names none. The environment is read at every call. The
// folder need not exist.
std::string UserFolder(const char* variable, const std::string& inHome);

// The folder that holds what the user sets: "tessary" in $XDG_CONFIG_HOME, or in ".config" at home.
std::string ConfigFolder();

// The environment that ConfigFolder() depends on, as it was at one time: what was made of it then
// need not be made anew while it is the same.
class ConfigEnvironment {
 public:
  // True where it has been noted and has not changed since.
  bool IsCurrent() const;

  void Capture();

 private:
  bool isCaptured_ = false;
  std::optional<std::string> configHome_;
  std::optional<std::string> home_;
};

// Makes the folder of an absolute path and what is missing above it, for their user alone (mode
// 0700). noErr when it is there; else what the file system reports.
Status MakeFolderAndParents(const std::string& path);

// Makes the configuration folder like that.
Status MakeConfigFolder();

}  // namespace tessary
