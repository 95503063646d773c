#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/cli/command_specs.h"
#include "programs/cli/options.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::vector<std::string>;

DesktopOptions Parse(const Words& arguments) {
  DesktopOptions options;
  std::string problem;
  EXPECT_TRUE(ParseDesktopOptions(arguments, &options, &problem)) << problem;
  return options;
}

std::string ProblemOf(const Words& arguments) {
  DesktopOptions options;
  options.text = "as it was";
  std::string problem;
  EXPECT_FALSE(ParseDesktopOptions(arguments, &options, &problem));
  EXPECT_EQ("as it was", options.text);
  return problem;
}

TEST(ParseDesktopOptions, FindsFolders) {
  EXPECT_THAT(Parse({}).folders, IsEmpty());
  EXPECT_THAT(Parse({"a", "-", "file:///b"}).folders, ElementsAre("a", "-", "file:///b"));
  EXPECT_THAT(Parse({"a", "--", "-platform", "--help"}).folders,
              ElementsAre("a", "-platform", "--help"));
  EXPECT_FALSE(Parse({"a"}).isAggregate);
}

TEST(ParseDesktopOptions, SeparatesQtOptions) {
  const DesktopOptions options =
      Parse({"-platform", "offscreen", "a", "--style", "-x", "-reverse", "-stylesheet=b", "c"});
  EXPECT_THAT(options.qtOptions,
              ElementsAre("-platform", "offscreen", "--style", "-x", "-reverse", "-stylesheet=b"));
  EXPECT_THAT(options.folders, ElementsAre("a", "c"));
}

TEST(ParseDesktopOptions, FindsAggregate) {
  const DesktopOptions options = Parse({"--aggregate", "--", "-a", "b"});
  EXPECT_TRUE(options.isAggregate);
  EXPECT_THAT(options.folders, ElementsAre("-a", "b"));
}

TEST(ParseDesktopOptions, PrintsHelpAndVersion) {
  EXPECT_EQ(HelpText(kDesktopSpec), Parse({"--help"}).text);
  EXPECT_EQ(HelpText(kDesktopSpec), Parse({"-V", "--unknown", "-h"}).text);
  EXPECT_EQ(VersionText(kDesktopSpec), Parse({"-V"}).text);
  EXPECT_EQ(VersionText(kDesktopSpec), Parse({"--aggregate", "--version"}).text);
  EXPECT_EQ("", Parse({"a"}).text);
}

TEST(ParseDesktopOptions, NamesTheMistake) {
  const std::string hint = ". Try 'tessary --help'.";
  EXPECT_EQ("--fullscreen: unknown option" + hint, ProblemOf({"--fullscreen"}));
  EXPECT_EQ("--agregate: unknown option; did you mean --aggregate?", ProblemOf({"--agregate"}));
  EXPECT_EQ("-platform: unknown option" + hint, ProblemOf({"-platform=x"}));
  EXPECT_EQ("option -platform requires a value" + hint, ProblemOf({"-platform"}));
  EXPECT_EQ("missing FOLDER" + hint, ProblemOf({"--aggregate", "--"}));
}

}  // namespace
}  // namespace tessary::test
