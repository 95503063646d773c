#include "programs/cli/option_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Words = std::vector<std::string>;

constexpr std::array kOptions = {
    OptionSpec{"-s,--size", "SIZE", "how large\nit is"},
    OptionSpec{"-f,--fast", "", "do not wait"},
    OptionSpec{"--full", "", "all of it"},
};

constexpr CommandSpec kCommand = {.name = "tool make",
                                  .usage = "  tool make [OPTION]... FILE\n",
                                  .description = "Makes things.\n",
                                  .options = kOptions,
                                  .footer = "The end.\n"};

ParsedArguments Parse(const Words& arguments, const CommandSpec& command = kCommand) {
  ParsedArguments parsed;
  std::string problem;
  EXPECT_TRUE(ParseArguments(command, arguments, &parsed, &problem)) << problem;
  return parsed;
}

std::string ProblemOf(const Words& arguments) {
  ParsedArguments parsed;
  std::string problem;
  EXPECT_FALSE(ParseArguments(kCommand, arguments, &parsed, &problem));
  EXPECT_THAT(parsed.operands, IsEmpty());
  return problem;
}

TEST(ParseArguments, AcceptsEachForm) {
  for (const Words& arguments : {Words{"-s", "5", "-f"},
                                 {"-s5", "-f"},
                                 {"-fs5"},
                                 {"-fs", "5"},
                                 {"--size", "5", "--fast"},
                                 {"--fast", "--size=5"}}) {
    const ParsedArguments parsed = Parse(arguments);
    EXPECT_THAT(parsed.options.at("--size"), ElementsAre("5"));
    EXPECT_EQ(1U, parsed.options.count("--fast"));
    EXPECT_EQ(0U, parsed.options.count("--full"));
    EXPECT_THAT(parsed.operands, IsEmpty());
    EXPECT_FALSE(parsed.isHelpWanted);
  }
}

TEST(ParseArguments, KeepsEachValueInOrder) {
  const ParsedArguments parsed = Parse({"-s", "-1", "--size=a=b", "--size", "--", "-s", ""});
  EXPECT_THAT(parsed.options.at("--size"), ElementsAre("-1", "a=b", "--", ""));
}

TEST(ParseArguments, AcceptsOptionsBetweenOperands) {
  const ParsedArguments parsed = Parse({"a", "-f", "b", "--size", "5", "c"});
  EXPECT_THAT(parsed.operands, ElementsAre("a", "b", "c"));
  EXPECT_EQ(2U, parsed.options.size());
}

TEST(ParseArguments, EndsOptionsAtTwoDashes) {
  const ParsedArguments parsed = Parse({"a", "--", "-f", "--", "--unknown", "--size="});
  EXPECT_THAT(parsed.operands, ElementsAre("a", "-f", "--", "--unknown", "--size="));
  EXPECT_THAT(parsed.options, IsEmpty());
}

// Words that the library gives a meaning of its own.
TEST(ParseArguments, KeepsOddOperands) {
  const Words odd = {"-", "++", "[a,b]", "", " -f", "{}", "%%", "caf\xe9\n", "/f", "a=b"};
  EXPECT_EQ(odd, Parse(odd).operands);
}

TEST(ParseArguments, KeepsDashedOperandsIfTheCommandHasThem) {
  CommandSpec command = kCommand;
  command.hasDashedOperands = true;
  EXPECT_THAT(Parse({"-bool", "-1", "-"}, command).operands, ElementsAre("-bool", "-1", "-"));
  ParsedArguments parsed;
  std::string problem;
  EXPECT_FALSE(ParseArguments(command, {"--bool"}, &parsed, &problem));
}

TEST(ParseArguments, HelpOverridesMistakes) {
  EXPECT_TRUE(Parse({"-h"}).isHelpWanted);
  EXPECT_TRUE(Parse({"a", "--unknown", "--help", "-x"}).isHelpWanted);
  EXPECT_FALSE(Parse({"--", "--help"}).isHelpWanted);
}

TEST(ParseArguments, NamesTheMistake) {
  const std::string hint = ". Try 'tool make --help'.";
  EXPECT_EQ("--unknown: unknown option" + hint, ProblemOf({"--unknown"}));
  EXPECT_EQ("--unknown: unknown option" + hint, ProblemOf({"--unknown=5"}));
  EXPECT_EQ("--=5: unknown option" + hint, ProblemOf({"--=5"}));
  EXPECT_EQ("---: unknown option" + hint, ProblemOf({"---"}));
  EXPECT_EQ("-x: unknown option" + hint, ProblemOf({"-x"}));
  EXPECT_EQ("-x: unknown option" + hint, ProblemOf({"-fx"}));
  EXPECT_EQ("-1: unknown option" + hint, ProblemOf({"-1"}));
  EXPECT_EQ("--siz: unknown option; did you mean --size?", ProblemOf({"--siz"}));
  EXPECT_EQ("option --size requires a value" + hint, ProblemOf({"--size"}));
  EXPECT_EQ("option --size requires a value" + hint, ProblemOf({"-fs"}));
  EXPECT_EQ("option --size requires a value" + hint, ProblemOf({"--size=", "5"}));
  for (const char* value : {"", "yes", "true", "{}"}) {
    EXPECT_EQ("option --fast does not take a value" + hint,
              ProblemOf({std::string("--fast=") + value}));
  }
  EXPECT_EQ("option --help does not take a value" + hint, ProblemOf({"--help=me"}));
}

TEST(HelpText, AlignsOptions) {
  EXPECT_EQ(
      "Usage:\n"
      "  tool make [OPTION]... FILE\n"
      "\n"
      "Makes things.\n"
      "\n"
      "Options:\n"
      "  -s, --size=SIZE  how large\n"
      "                   it is\n"
      "  -f, --fast       do not wait\n"
      "      --full       all of it\n"
      "  -h, --help       print this help and exit\n"
      "\n"
      "The end.\n",
      HelpText(kCommand));
}

TEST(Suggestion, FindsSimilarWords) {
  constexpr std::array<std::string_view, 4> kWords = {"--recurse", "--replace", "--copy", "read"};
  const auto suggestionFor = [&](std::string_view word) { return Suggestion(word, kWords); };
  EXPECT_EQ("; did you mean --recurse?", suggestionFor("--recurs"));
  EXPECT_EQ("; did you mean --recurse?", suggestionFor("--rec"));
  EXPECT_EQ("; did you mean --recurse?", suggestionFor("--RECURSE"));
  EXPECT_EQ("; did you mean --replace?", suggestionFor("--repalce"));
  EXPECT_EQ("; did you mean --copy?", suggestionFor("-copy"));
  EXPECT_EQ("; did you mean read?", suggestionFor("reed"));
  for (const char* word : {"", "-", "--", "x", "re", "--fast", "write"}) {
    EXPECT_EQ("", suggestionFor(word)) << word;
  }
}

}  // namespace
}  // namespace tessary::test
