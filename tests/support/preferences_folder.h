#pragma once

#include <string>

#include "tests/support/environment_variable.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// Sets XDG_CONFIG_HOME to a new folder until it is destroyed, so that a test uses a real
// preferences file that is not its user's.
class PreferencesFolder {
 public:
  PreferencesFolder();

  // The paths of the preferences file and of the extension map, which need not exist.
  std::string PreferencesPath() const { return folder_ / "tessary/preferences.toml"; }
  std::string MappingPath() const { return folder_ / "tessary/extensions.map"; }

  // Writes the preferences file and synchronises the preferences.
  void Write(const std::string& text) const;

 private:
  TemporaryFolder folder_;
  EnvironmentVariable variable_{"XDG_CONFIG_HOME", folder_.path()};
};

}  // namespace tessary::test
