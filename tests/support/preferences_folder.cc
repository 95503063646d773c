#include "tests/support/preferences_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/managers/preferences_store.h"

namespace tessary::test {

PreferencesFolder::PreferencesFolder() {
  const char* saved = std::getenv("XDG_CONFIG_HOME");
  hadConfigHome_ = saved != nullptr;
  if (hadConfigHome_) savedConfigHome_ = saved;
  setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
  EXPECT_TRUE(CFPreferencesAppSynchronize());
}

PreferencesFolder::~PreferencesFolder() {
  if (hadConfigHome_) {
    setenv("XDG_CONFIG_HOME", savedConfigHome_.c_str(), 1);
  } else {
    unsetenv("XDG_CONFIG_HOME");
  }
}

void PreferencesFolder::Write(const std::string& text) const {
  WriteFile(PreferencesPath(), text);
  (void)CFPreferencesAppSynchronize();
}

}  // namespace tessary::test
