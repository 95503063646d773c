#include "tests/support/preferences_folder.h"

#include <gtest/gtest.h>

#include "platform/managers/preferences_store.h"

namespace tessary::test {

PreferencesFolder::PreferencesFolder() { EXPECT_TRUE(CFPreferencesAppSynchronize()); }

void PreferencesFolder::Write(const std::string& text) const {
  WriteFile(PreferencesPath(), text);
  (void)CFPreferencesAppSynchronize();
}

}  // namespace tessary::test
