#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/cli/command_specs.h"
#include "programs/cli/options.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::vector<std::string>;

DesktopOptions ParseDesktop(const Words& arguments) {
  DesktopOptions options;
  std::string problem;
  EXPECT_TRUE(ParseDesktopOptions(arguments, &options, &problem)) << problem;
  return options;
}

std::string DesktopProblemOf(const Words& arguments) {
  DesktopOptions options;
  options.text = "as it was";
  std::string problem;
  EXPECT_FALSE(ParseDesktopOptions(arguments, &options, &problem));
  EXPECT_EQ("as it was", options.text);
  return problem;
}

TEST(ParseDesktopOptions, FindsFolders) {
  EXPECT_THAT(ParseDesktop({}).folders, IsEmpty());
  EXPECT_THAT(ParseDesktop({"a", "-", "file:///b"}).folders, ElementsAre("a", "-", "file:///b"));
  EXPECT_THAT(ParseDesktop({"a", "--", "-platform", "--help"}).folders,
              ElementsAre("a", "-platform", "--help"));
  EXPECT_FALSE(ParseDesktop({"a"}).isAggregate);
}

TEST(ParseDesktopOptions, SeparatesQtOptions) {
  const DesktopOptions options = ParseDesktop(
      {"-platform", "offscreen", "a", "--style", "-x", "-reverse", "-stylesheet=b", "c"});
  EXPECT_THAT(options.qtOptions,
              ElementsAre("-platform", "offscreen", "--style", "-x", "-reverse", "-stylesheet=b"));
  EXPECT_THAT(options.folders, ElementsAre("a", "c"));
}

TEST(ParseDesktopOptions, FindsAggregate) {
  const DesktopOptions options = ParseDesktop({"--aggregate", "--", "-a", "b"});
  EXPECT_TRUE(options.isAggregate);
  EXPECT_THAT(options.folders, ElementsAre("-a", "b"));
}

TEST(ParseDesktopOptions, PrintsHelpAndVersion) {
  EXPECT_EQ(HelpText(kDesktopSpec), ParseDesktop({"--help"}).text);
  EXPECT_EQ(HelpText(kDesktopSpec), ParseDesktop({"-V", "--unknown", "-h"}).text);
  EXPECT_EQ(VersionText(kDesktopSpec), ParseDesktop({"-V"}).text);
  EXPECT_EQ(VersionText(kDesktopSpec), ParseDesktop({"--aggregate", "--version"}).text);
  EXPECT_EQ("", ParseDesktop({"a"}).text);
}

TEST(ParseDesktopOptions, NamesTheMistake) {
  const std::string hint = ". Try 'tessary --help'.";
  EXPECT_EQ("--fullscreen: unknown option" + hint, DesktopProblemOf({"--fullscreen"}));
  EXPECT_EQ("--agregate: unknown option; did you mean --aggregate?",
            DesktopProblemOf({"--agregate"}));
  EXPECT_EQ("-platform: unknown option" + hint, DesktopProblemOf({"-platform=x"}));
  EXPECT_EQ("option -platform requires a value" + hint, DesktopProblemOf({"-platform"}));
  EXPECT_EQ("missing FOLDER" + hint, DesktopProblemOf({"--aggregate", "--"}));
}

}  // namespace
}  // namespace tessary::test
