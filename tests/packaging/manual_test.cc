#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "programs/cli/help_text.h"
#include "settings/preferences.h"
#include "tests/packaging/installation.h"

// The manual pages and the shells' completions tell what the program's own help tells.
namespace tessary::test {
namespace {

using testing::HasSubstr;

constexpr const char* kCompletions[] = {"packaging/completion/tessary-cli.bash",
                                        "packaging/completion/_tessary-cli",
                                        "packaging/completion/tessary-cli.fish"};

std::vector<std::string> Options() { return FindWords(HelpText(), "--([a-z]+[a-z-]*)"); }
std::vector<std::string> Kinds() { return FindWords(HelpText(), "\n {25}([a-z-]+) "); }
std::vector<std::string> Commands() {
  return FindWords(HelpText(), "\n  tessary-cli ([a-z]+)[ \n]");
}

// The page's text without what lays it out.
std::string PlainManual(const std::string& name) {
  const std::string text = SourceText("packaging/man/" + name);
  return std::regex_replace(text, std::regex("\\\\-"), "-");
}

// What bash offers for the last of the words.
std::string CompletionsOf(const std::string& words, const std::string& folder = "/") {
  const std::string script = "cd '" + folder + "' && . '" + SourcePath(kCompletions[0]) +
                             "'; COMP_WORDS=(" + words +
                             "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tessary_cli; "
                             "printf '%s\\n' \"${COMPREPLY[@]}\"";
  const ToolResult result = RunTool("bash", {"-c", script});
  EXPECT_EQ(0, result.status);
  return result.output;
}

TEST(Help, IsTakenApartAsTheTestsBelowNeedIt) {
  EXPECT_THAT(Options(), testing::IsSupersetOf({"kind", "move", "help", "version"}));
  EXPECT_EQ(5U, Kinds().size());
  EXPECT_THAT(Commands(), testing::IsSupersetOf({"aggregate", "defaults"}));
}

TEST(Manual, HasNothingThatTheFormatterWarnsOf) {
  if (const std::string tool = MissingTool({"man"}); !tool.empty()) {
    GTEST_SKIP() << tool << " is not installed";
  }
  for (const char* page : {"tessary.1", "tessary-cli.1"}) {
    const ToolResult result =
        RunTool("sh", {"-c", R"(man --warnings -E UTF-8 -l -Tutf8 -Z "$1" >/dev/null)", "sh",
                       SourcePath(std::string("packaging/man/") + page)});
    EXPECT_EQ(0, result.status) << page;
    EXPECT_EQ("", result.output) << page;
  }
}

TEST(Manual, TellsOfEveryOptionKindCommandAndKey) {
  const std::string page = PlainManual("tessary-cli.1");
  for (const std::string& option : Options()) EXPECT_THAT(page, HasSubstr("--" + option));
  for (const std::string& kind : Kinds()) EXPECT_THAT(page, HasSubstr("\n.B " + kind + "\n"));
  for (const std::string& command : Commands()) EXPECT_THAT(page, HasSubstr("\n.SS " + command));
  for (const Setting& setting : kSettings) EXPECT_THAT(page, HasSubstr(std::string(setting.key)));
}

TEST(Completions, OfferEveryOptionKindCommandAndKey) {
  for (const char* file : kCompletions) {
    const std::string text = SourceText(file);
    const bool isFish = std::string(file).ends_with(".fish");
    for (const std::string& option : Options()) {
      EXPECT_THAT(text, HasSubstr((isFish ? "-l " : "--") + option)) << file;
    }
    for (const std::string& kind : Kinds()) EXPECT_THAT(text, HasSubstr(kind)) << file;
    for (const std::string& command : Commands()) EXPECT_THAT(text, HasSubstr(command)) << file;
    for (const Setting& setting : kSettings) {
      EXPECT_THAT(text, HasSubstr(std::string(setting.key))) << file;
    }
  }
}

TEST(Completions, AreScriptsOfTheirShells) {
  const char* shells[] = {"bash", "zsh", "fish"};
  for (size_t i = 0; i < std::size(shells); ++i) {
    if (!MissingTool({shells[i]}).empty()) continue;
    const ToolResult result = RunTool(shells[i], {"-n", SourcePath(kCompletions[i])});
    EXPECT_EQ(0, result.status) << result.output;
    EXPECT_EQ("", result.output) << shells[i];
  }
}

TEST(BashCompletion, OffersWhatCanFollow) {
  EXPECT_EQ("aggregate\n", CompletionsOf("tessary-cli agg"));
  EXPECT_EQ("--recurse\n--replace\n", CompletionsOf("tessary-cli aggregate --re"));
  EXPECT_EQ("modification-date\n", CompletionsOf("tessary-cli aggregate --kind mod"));
  EXPECT_EQ("mime-type\n", CompletionsOf("tessary-cli aggregate --kind = mi"));
  EXPECT_EQ("read\nwrite\ndelete\n", CompletionsOf("tessary-cli defaults ''"));
  EXPECT_EQ("--json\n", CompletionsOf("tessary-cli info --j"));
  EXPECT_EQ("QuitWhenDone\n", CompletionsOf("tessary-cli defaults read Q"));
  EXPECT_EQ("-int\n", CompletionsOf("tessary-cli defaults write TessaryType ''"));
  EXPECT_EQ("-bool\n", CompletionsOf("tessary-cli defaults write RecurseFolders ''"));
  EXPECT_EQ("true\nfalse\n", CompletionsOf("tessary-cli defaults write RecurseFolders -bool ''"));
  EXPECT_EQ("\n", CompletionsOf("tessary-cli defaults delete RecurseFolders ''"));
}

TEST(BashCompletion, OffersFoldersWithBlanksInTheirNames) {
  const TemporaryFolder folder;
  MakeFolder(folder / "a folder");
  MakeFolder(folder / "another");
  WriteFile(folder / "a file");
  const std::string offers = CompletionsOf("tessary-cli aggregate a", folder.path());
  EXPECT_THAT(FindWords(offers, "[^\n]+"), testing::ElementsAre("a folder", "another"));
}

}  // namespace
}  // namespace tessary::test
