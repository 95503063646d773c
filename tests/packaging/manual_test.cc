#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <regex>

#include "settings/preferences.h"
#include "tests/packaging/installation.h"

// The manual pages and the completions name what the programs' own help names.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::UnorderedElementsAreArray;
using Words = std::vector<std::string>;

struct HelpPage {
  const char* program;
  const char* command;  // empty for the program itself
};

constexpr std::array kPages = {HelpPage{"tessary-cli", ""},
                               HelpPage{"tessary-cli", "aggregate"},
                               HelpPage{"tessary-cli", "defaults"},
                               HelpPage{"tessary-cli", "info"},
                               HelpPage{"tessary-cli", "integrate"},
                               HelpPage{"tessary-cli", "undo"},
                               HelpPage{"tessary", ""}};
constexpr std::array kPrograms = {"tessary-cli", "tessary"};

std::string HelpOf(const HelpPage& page) {
  Words arguments = {"--help"};
  if (*page.command != '\0') arguments.insert(arguments.begin(), page.command);
  const ToolResult result =
      RunTool(std::string(TESSARY_BUILD_FOLDER "/programs/") + page.program, arguments);
  EXPECT_EQ(0, result.status) << page.program;
  return result.output;
}

// Short and long names: "-h", "--help".
Words OptionsOf(const HelpPage& page) {
  const std::string help = HelpOf(page);
  Words options = FindWords(help, "\n  (-[a-zA-Z]), --");
  for (const std::string& name : FindWords(help, "\n  (?:-[a-zA-Z], |    )(--[a-z-]+)")) {
    options.push_back(name);
  }
  return options;
}

Words Commands() { return FindWords(HelpOf(kPages[0]), "\n  tessary-cli ([a-z]+)[ \n]"); }
Words Kinds() { return FindWords(HelpOf(kPages[1]), "\n {29}([a-z-]+) "); }

// A manual page, "tessary-cli.1" for example, as roff.
std::string ManualPage(const std::string& page) {
  const ToolResult result =
      RunTool("sh", {"-c", R"(scdoc < "$1")", "sh", SourcePath("docs/man/" + page + ".scd")});
  EXPECT_EQ(0, result.status) << result.output;
  return result.output;
}

// A manual page without fonts and escaped hyphens.
std::string PlainManual(const std::string& page) {
  const std::string text = std::regex_replace(ManualPage(page), std::regex(R"(\\f.|\\&)"), "");
  return std::regex_replace(text, std::regex(R"(\\-)"), "-");
}

std::string CompletionFile(const std::string& program, const std::string& shell) {
  const std::string name = shell == "zsh" ? "_" + program : program + "." + shell;
  return "packaging/completion/" + name;
}

// What bash offers in place of the last of the words.
Words BashOffers(const std::string& words, const std::string& folder = "/") {
  const std::string program = words.substr(0, words.find(' '));
  const std::string function = "_" + std::regex_replace(program, std::regex("-"), "_");
  const std::string script = "cd '" + folder + "' && . '" +
                             SourcePath(CompletionFile(program, "bash")) + "'; COMP_WORDS=(" +
                             words + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); " + function +
                             "; printf '%s\\n' \"${COMPREPLY[@]}\"";
  const ToolResult result = RunTool("bash", {"-c", script});
  EXPECT_EQ(0, result.status) << result.output;
  return FindWords(result.output, "[^\n]+");
}

// What zsh prints after two tabs at the end of the line, up to `last`. zsh completes only in an
// interactive shell.
std::string ZshPrints(const std::string& line, const std::string& folder, const std::string& last) {
  constexpr char kScript[] = R"sh(
    zmodload zsh/zpty
    export TERM=dumb
    zpty shell zsh -f -i
    zpty -w shell "PS1=; fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D; cd $2; echo R''EADY"
    zpty -r -m shell output '*READY*'
    zpty -w -n shell "$3"$'\t\t'
    zpty -r -m shell output "*$4*"
    print -r -- $output)sh";
  const ToolResult result = RunTool(
      "zsh", {"-f", "-c", kScript, "zsh", SourcePath("packaging/completion"), folder, line, last});
  EXPECT_EQ(0, result.status) << result.output;
  return result.output;
}

// What fish offers at the end of the line.
Words FishOffers(const std::string& line, const std::string& folder = "/") {
  const std::string program = line.substr(0, line.find(' '));
  const std::string script = "cd '" + folder + "'; source '" +
                             SourcePath(CompletionFile(program, "fish")) + "'; complete -C '" +
                             line + "'";
  const ToolResult result = RunTool("fish", {"--no-config", "-c", script});
  EXPECT_EQ(0, result.status) << result.output;
  return FindWords(result.output, "(?:^|\n)([^\n\t]+)");
}

TEST(Help, ListsOptionsKindsAndCommands) {
  EXPECT_THAT(OptionsOf(kPages[1]), IsSupersetOf({"-k", "--kind", "--move", "-h", "--help"}));
  EXPECT_THAT(OptionsOf(kPages[6]), IsSupersetOf({"--aggregate", "-V", "--version"}));
  EXPECT_EQ(5U, Kinds().size());
  EXPECT_THAT(Commands(), ElementsAre("aggregate", "defaults", "info", "integrate", "undo"));
}

TEST(Manual, FormatterPrintsNoWarnings) {
  if (const std::string tool = MissingTool({"man"}); !tool.empty()) {
    GTEST_SKIP() << tool << " is not installed";
  }
  const TemporaryFolder folder;
  for (const char* page : {"tessary.1", "tessary-cli.1", "tessary-preferences.5",
                           "tessary-extensions.5", "tessary.7"}) {
    WriteFile(folder / page, ManualPage(page));
    const ToolResult result = RunTool(
        "sh",
        {"-c", R"(man --warnings -E UTF-8 -l -Tutf8 -Z "$1" >/dev/null)", "sh", folder / page});
    EXPECT_EQ(0, result.status) << page;
    EXPECT_EQ("", result.output) << page;
  }
}

TEST(Manual, NamesEachOptionKindCommandAndKey) {
  for (const HelpPage& page : kPages) {
    const std::string manual = PlainManual(page.program + std::string(".1"));
    for (const std::string& option : OptionsOf(page)) {
      EXPECT_TRUE(std::regex_search(manual, std::regex("[^-a-z]" + option + "[^-a-z]")))
          << option << " of " << page.program << " " << page.command;
    }
  }
  const std::string manual = PlainManual("tessary-cli.1");
  for (const std::string& kind : Kinds()) EXPECT_THAT(manual, HasSubstr(kind));
  for (const std::string& command : Commands()) EXPECT_THAT(manual, HasSubstr(command));
  const std::string runs = PlainManual("tessary.7");
  for (const std::string& kind : Kinds()) EXPECT_THAT(runs, HasSubstr(kind));
  const std::string settings = PlainManual("tessary-preferences.5");
  for (const Setting& setting : kSettings) {
    EXPECT_THAT(settings, HasSubstr(std::string(setting.key)));
  }
}

TEST(Completions, AreValidScripts) {
  for (const char* shell : {"bash", "zsh", "fish"}) {
    if (!MissingTool({shell}).empty()) continue;
    for (const char* program : kPrograms) {
      const ToolResult result = RunTool(shell, {"-n", SourcePath(CompletionFile(program, shell))});
      EXPECT_EQ(0, result.status) << result.output;
      EXPECT_EQ("", result.output) << shell << " " << program;
    }
  }
}

TEST(BashCompletion, OffersExactlyTheOptionsOfTheHelp) {
  for (const HelpPage& page : kPages) {
    const std::string line = std::string(page.program) + " " + page.command + " -";
    EXPECT_THAT(BashOffers(line), UnorderedElementsAreArray(OptionsOf(page))) << line;
  }
}

TEST(FishCompletion, OffersExactlyTheOptionsOfTheHelp) {
  if (!MissingTool({"fish"}).empty()) GTEST_SKIP() << "fish is not installed";
  for (const HelpPage& page : kPages) {
    const std::string words = std::string(page.program) + " " + page.command;
    EXPECT_THAT(FishOffers(words + " -"), UnorderedElementsAreArray(OptionsOf(page))) << words;
  }
}

// All options are compared as text, because an interactive shell is slow.
TEST(ZshCompletion, NamesEachOptionOfTheHelp) {
  for (const HelpPage& page : kPages) {
    const std::string script = SourceText(CompletionFile(page.program, "zsh"));
    for (const std::string& option : OptionsOf(page)) {
      EXPECT_TRUE(std::regex_search(script, std::regex("[^-a-z]" + option + "[^-a-z]")))
          << option << " of " << page.program << " " << page.command;
    }
  }
}

TEST(Completions, NameEachKindCommandAndKey) {
  for (const char* shell : {"bash", "zsh", "fish"}) {
    const std::string script = SourceText(CompletionFile("tessary-cli", shell));
    for (const std::string& kind : Kinds()) EXPECT_THAT(script, HasSubstr(kind)) << shell;
    for (const std::string& command : Commands()) EXPECT_THAT(script, HasSubstr(command)) << shell;
    for (const Setting& setting : kSettings) {
      EXPECT_THAT(script, HasSubstr(std::string(setting.key))) << shell;
    }
  }
}

TEST(BashCompletion, OffersWhatCanFollow) {
  EXPECT_THAT(BashOffers("tessary-cli agg"), ElementsAre("aggregate"));
  EXPECT_THAT(BashOffers("tessary-cli aggregate --re"), ElementsAre("--recurse", "--replace"));
  EXPECT_THAT(BashOffers("tessary-cli aggregate --kind mod"), ElementsAre("modification-date"));
  EXPECT_THAT(BashOffers("tessary-cli aggregate -k mod"), ElementsAre("modification-date"));
  EXPECT_THAT(BashOffers("tessary-cli aggregate --kind = mi"), ElementsAre("mime-type"));
  EXPECT_THAT(BashOffers("tessary-cli aggregate --kind ="), testing::SizeIs(5));
  EXPECT_THAT(BashOffers("tessary-cli defaults ''"), ElementsAre("delete", "read", "write"));
  EXPECT_THAT(BashOffers("tessary-cli defaults read Q"), ElementsAre("QuitWhenDone"));
  EXPECT_THAT(BashOffers("tessary-cli defaults write FileOperation ''"),
              ElementsAre("-int", "1", "2"));
  EXPECT_THAT(BashOffers("tessary-cli defaults write RecurseFolders ''"),
              ElementsAre("-bool", "false", "true"));
  EXPECT_THAT(BashOffers("tessary-cli defaults write RecurseFolders -bool ''"),
              ElementsAre("false", "true"));
  EXPECT_THAT(BashOffers("tessary-cli defaults write RecurseFolders true ''"), ElementsAre());
  EXPECT_THAT(BashOffers("tessary-cli defaults delete RecurseFolders ''"), ElementsAre());
  EXPECT_THAT(BashOffers("tessary-cli integrate ''"), ElementsAre("install", "remove", "status"));
}

TEST(FishCompletion, OffersWhatCanFollow) {
  if (!MissingTool({"fish"}).empty()) GTEST_SKIP() << "fish is not installed";
  EXPECT_EQ(Commands(), FishOffers("tessary-cli "));
  EXPECT_THAT(FishOffers("tessary-cli aggregate --kind mod"), ElementsAre("modification-date"));
  EXPECT_THAT(FishOffers("tessary-cli aggregate -k mod"), ElementsAre("modification-date"));
  EXPECT_THAT(FishOffers("tessary-cli defaults "), ElementsAre("delete", "read", "write"));
  EXPECT_THAT(FishOffers("tessary-cli defaults read Q"), ElementsAre("QuitWhenDone"));
  EXPECT_THAT(FishOffers("tessary-cli defaults write FileOperation "),
              ElementsAre("-int", "1", "2"));
  EXPECT_THAT(FishOffers("tessary-cli defaults write RecurseFolders "),
              ElementsAre("-bool", "false", "true"));
  EXPECT_THAT(FishOffers("tessary-cli defaults write RecurseFolders -bool "),
              ElementsAre("false", "true"));
  EXPECT_THAT(FishOffers("tessary-cli defaults write RecurseFolders true "), ElementsAre());
  EXPECT_THAT(FishOffers("tessary-cli defaults delete RecurseFolders "), ElementsAre());
  EXPECT_THAT(FishOffers("tessary-cli integrate "), ElementsAre("install", "remove", "status"));
}

TEST(ZshCompletion, OffersFoldersOrFiles) {
  if (!MissingTool({"zsh"}).empty()) GTEST_SKIP() << "zsh is not installed";
  const TemporaryFolder folder;
  MakeFolder(folder / "a folder");
  MakeFolder(folder / "another");
  WriteFile(folder / "a file");
  const auto offers = [&folder](const std::string& line) {
    return ZshPrints(line + "a", folder.path(), "another/");
  };
  for (const char* line : {"tessary-cli aggregate ", "tessary "}) {
    EXPECT_THAT(offers(line), testing::AllOf(HasSubstr("a\\ folder/  another/"),
                                             testing::Not(HasSubstr("a\\ file"))));
  }
  EXPECT_THAT(offers("tessary-cli info "), HasSubstr("a\\ file"));
}

// Folders only where folders are meant.
TEST(Completions, OfferFoldersOrFiles) {
  const TemporaryFolder folder;
  MakeFolder(folder / "a folder");
  MakeFolder(folder / "another");
  WriteFile(folder / "a file");
  const std::string& path = folder.path();
  for (const char* line :
       {"tessary-cli aggregate ", "tessary-cli aggregate -r from ", "tessary "}) {
    EXPECT_THAT(BashOffers(std::string(line) + "a", path), ElementsAre("a folder", "another"));
  }
  EXPECT_THAT(BashOffers("tessary-cli info a", path), ElementsAre("a file", "a folder", "another"));
  if (!MissingTool({"fish"}).empty()) GTEST_SKIP() << "fish is not installed";
  for (const char* line :
       {"tessary-cli aggregate ", "tessary-cli aggregate -r from ", "tessary "}) {
    EXPECT_THAT(FishOffers(std::string(line) + "a", path), ElementsAre("a folder/", "another/"));
  }
  EXPECT_THAT(FishOffers("tessary-cli info a", path),
              ElementsAre("a file", "a folder/", "another/"));
}

}  // namespace
}  // namespace tessary::test
