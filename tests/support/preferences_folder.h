#pragma once

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// Gives this process a configuration folder of its own while it lives, by XDG_CONFIG_HOME, so that
// a test uses a real preferences file and not its user's.
class PreferencesFolder {
 public:
  PreferencesFolder();
  ~PreferencesFolder();
  PreferencesFolder(const PreferencesFolder&) = delete;
  PreferencesFolder& operator=(const PreferencesFolder&) = delete;

  // The path of the preferences file and of the mapping file, whether or not they are there.
  std::string PreferencesPath() const { return folder_ / "tessary/preferences.toml"; }
  std::string MappingPath() const { return folder_ / "tessary/extensions.map"; }

  // Replaces the preferences file, as another program would, and has the store see it.
  void Write(const std::string& text) const;

 private:
  TemporaryFolder folder_;
  std::string savedConfigHome_;
  bool hadConfigHome_;
};

}  // namespace tessary::test
