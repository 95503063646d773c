#include "programs/cli/help_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "settings/preferences.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;

TEST(HelpText, ShowsEveryOptionKindCommandAndKey) {
  const std::string text(HelpText());
  for (const char* name : {"--kind KIND",
                           "--recurse",
                           "--copy",
                           "--move",
                           "--replace",
                           "--preserve-comments",
                           "--whole-application",
                           "  --  ",
                           "--help",
                           "--version",
                           "extension",
                           "file-type",
                           "mime-type",
                           "modification-date",
                           "creation-date",
                           "defaults read [KEY]",
                           "defaults write KEY (-bool|-int) VALUE",
                           "defaults delete KEY",
                           "integrate install|remove|status",
                           "info [--json] FILE...",
                           "Exit status:",
                           "Example:"}) {
    EXPECT_THAT(text, HasSubstr(name));
  }
  for (const Setting& setting : kSettings) EXPECT_THAT(text, HasSubstr(std::string(setting.key)));
}

TEST(HelpText, FitsATerminalOfUsualWidth) {
  std::istringstream text{std::string(HelpText())};
  for (std::string line; std::getline(text, line);) EXPECT_LE(line.size(), 80U) << line;
}

TEST(VersionText, IsTheNameAndTheNumber) { EXPECT_EQ("tessary-cli 0.1.0\n", VersionText()); }

}  // namespace
}  // namespace tessary::test
