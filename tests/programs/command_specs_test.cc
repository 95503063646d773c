#include "programs/cli/command_specs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>

#include "settings/preferences.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;

constexpr std::array<const CommandSpec*, 7> kSpecs = {
    &kProgramSpec,   &kAggregateSpec, &kDefaultsSpec, &kInfoSpec,
    &kIntegrateSpec, &kUndoSpec,      &kDesktopSpec};

TEST(CommandSpecs, HelpFitsEightyColumns) {
  for (const CommandSpec* spec : kSpecs) {
    std::istringstream text(HelpText(*spec));
    for (std::string line; std::getline(text, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(CommandSpecs, ProgramHelpHasTheUsageOfEachCommand) {
  const std::string help = HelpText(kProgramSpec);
  for (const CommandSpec* spec :
       {&kAggregateSpec, &kDefaultsSpec, &kInfoSpec, &kIntegrateSpec, &kUndoSpec}) {
    EXPECT_THAT(help, HasSubstr(std::string(spec->usage)));
    EXPECT_THAT(HelpText(*spec), HasSubstr(std::string(spec->usage)));
  }
}

TEST(CommandSpecs, DefaultsHelpHasEachKey) {
  const std::string help = HelpText(kDefaultsSpec);
  for (const Setting& setting : kSettings) EXPECT_THAT(help, HasSubstr(std::string(setting.key)));
}

TEST(VersionText, IsNameAndNumber) {
  EXPECT_EQ("tessary-cli 0.1.0\n", VersionText(kProgramSpec));
  EXPECT_EQ("tessary 0.1.0\n", VersionText(kDesktopSpec));
}

}  // namespace
}  // namespace tessary::test
