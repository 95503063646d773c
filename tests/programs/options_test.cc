#include "programs/cli/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/preferences.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using Settings = std::map<std::string, CFPropertyList>;

// The record for the arguments; fails the test where they are refused or ask for something else.
template <typename Expected>
Expected Parse(const std::vector<std::string>& arguments) {
  Options options;
  std::string problem;
  EXPECT_TRUE(ParseOptions(arguments, &options, &problem)) << problem;
  const auto* expected = std::get_if<Expected>(&options);
  EXPECT_NE(nullptr, expected);
  return expected != nullptr ? *expected : Expected();
}

Settings SettingsOf(std::vector<std::string> options) {
  options.insert(options.begin(), "aggregate");
  options.insert(options.end(), {"from", "to"});
  return Parse<AggregateOptions>(options).settings;
}

TEST(ParseOptions, LaysEachOptionOfARunOnItsSetting) {
  struct Row {
    std::vector<std::string> options;
    Settings expected;
  };
  const std::vector<Row> rows = {
      {{}, {}},
      {{"--kind", "extension"}, {{"TessaryType", int64_t{1}}}},
      {{"--kind", "file-type"}, {{"TessaryType", int64_t{2}}}},
      {{"--kind", "mime-type"}, {{"TessaryType", int64_t{3}}}},
      {{"--kind", "modification-date"}, {{"TessaryType", int64_t{4}}}},
      {{"--kind", "creation-date"}, {{"TessaryType", int64_t{5}}}},
      {{"--kind=creation-date"}, {{"TessaryType", int64_t{5}}}},
      {{"--recurse"}, {{"RecurseFolders", true}}},
      {{"--move"}, {{"FileOperation", int64_t{1}}}},
      {{"--copy"}, {{"FileOperation", int64_t{2}}}},
      {{"--replace"}, {{"ReplaceFilesBySameName", true}}},
      {{"--preserve-comments"}, {{"PreserveComments", false}}},
      {{"--whole-application"}, {{"AggregateAppResourcesOnly", true}}},
      {{"--move", "--recurse", "--move"},
       {{"FileOperation", int64_t{1}}, {"RecurseFolders", true}}},
      {{"--kind", "mime-type", "--kind=mime-type"}, {{"TessaryType", int64_t{3}}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.expected, SettingsOf(row.options)) << testing::PrintToString(row.options);
  }
}

TEST(ParseOptions, ReadsWhatToTellOf) {
  const auto plain = Parse<InfoOptions>({"info", "a", "-", "b"});
  EXPECT_EQ((std::vector<std::string>{"a", "-", "b"}), plain.files);
  EXPECT_FALSE(plain.isJson);
  const auto json = Parse<InfoOptions>({"info", "a", "--json", "--", "--json"});
  EXPECT_EQ((std::vector<std::string>{"a", "--json"}), json.files);
  EXPECT_TRUE(json.isJson);
}

TEST(ParseOptions, ReadsWhatToDoWithTheMenus) {
  EXPECT_EQ(IntegrateAction::kInstall, Parse<IntegrateOptions>({"integrate", "install"}).action);
  EXPECT_EQ(IntegrateAction::kRemove, Parse<IntegrateOptions>({"integrate", "remove"}).action);
  EXPECT_EQ(IntegrateAction::kStatus, Parse<IntegrateOptions>({"integrate", "status"}).action);
}

TEST(ParseOptions, TakesTheTwoPathsWhereverTheyStand) {
  struct Row {
    std::vector<std::string> arguments;
    std::string source;
    std::string destination;
  };
  const std::vector<Row> rows = {
      {{"aggregate", "from", "to"}, "from", "to"},
      {{"aggregate", "from", "--recurse", "to"}, "from", "to"},
      {{"aggregate", "from", "to", "--kind", "extension"}, "from", "to"},
      {{"aggregate", "--", "-from", "--move"}, "-from", "--move"},
      {{"aggregate", "--", "--", "--"}, "--", "--"},
      {{"aggregate", "-", "to"}, "-", "to"},
      {{"aggregate", "caf\xe9\n", ".."}, "caf\xe9\n", ".."},
      {{"aggregate", "", "to"}, "", "to"},
  };
  for (const Row& row : rows) {
    const AggregateOptions options = Parse<AggregateOptions>(row.arguments);
    EXPECT_EQ(row.source, options.source);
    EXPECT_EQ(row.destination, options.destination);
  }
}

TEST(ParseOptions, TakesHelpAndVersion) {
  Parse<HelpOptions>({"--help"});
  Parse<HelpOptions>({"aggregate", "--help"});
  Parse<HelpOptions>({"aggregate", "from", "to", "--help"});
  Parse<HelpOptions>({"defaults", "--help"});
  Parse<HelpOptions>({"integrate", "--help"});
  Parse<VersionOptions>({"--version"});
  EXPECT_EQ("--help", Parse<AggregateOptions>({"aggregate", "--", "--help", "to"}).source);
}

TEST(ParseOptions, TakesTheCommandsOnSettings) {
  EXPECT_EQ("", Parse<ReadDefaultsOptions>({"defaults", "read"}).key);
  EXPECT_EQ("QuitWhenDone", Parse<ReadDefaultsOptions>({"defaults", "read", "QuitWhenDone"}).key);
  EXPECT_EQ("TessaryType", Parse<DeleteDefaultOptions>({"defaults", "delete", "TessaryType"}).key);
}

TEST(ParseOptions, TakesValuesOfTheTypeOfTheirKey) {
  struct Row {
    std::string key;
    std::string type;
    std::string text;
    CFPropertyList value;
  };
  const std::vector<Row> rows = {
      {"QuitWhenDone", "-bool", "true", true},
      {"RecurseFolders", "-bool", "yes", true},
      {"ReplaceFilesBySameName", "-bool", "1", true},
      {"AggregateAppResourcesOnly", "-bool", "false", false},
      {"PreserveComments", "-bool", "no", false},
      {"PreserveComments", "-bool", "0", false},
      {"TessaryType", "-int", "5", int64_t{5}},
      {"TessaryType", "-int", "-1", int64_t{-1}},
      {"FileOperation", "-int", "32767", int64_t{32767}},
      {"FileOperation", "-int", "-32768", int64_t{-32768}},
  };
  for (const Row& row : rows) {
    const auto options =
        Parse<WriteDefaultOptions>({"defaults", "write", row.key, row.type, row.text});
    EXPECT_EQ(row.key, options.key);
    EXPECT_EQ(row.value, options.value) << row.key << " " << row.text;
  }
}

TEST(ParseOptions, RefusesWhatItCannotUnderstandNamingIt) {
  struct Row {
    std::vector<std::string> arguments;
    std::string named;
  };
  const std::vector<Row> rows = {
      {{}, "no command"},
      {{"aggregat"}, "\"aggregat\""},
      {{""}, "\"\""},
      {{"--verbose"}, "option \"--verbose\""},
      {{"--move", "aggregate", "from", "to"}, "\"--move\""},
      {{"--help", "me"}, "\"me\""},
      {{"--version", "2"}, "\"2\""},
      {{"aggregate"}, "SOURCE"},
      {{"aggregate", "from"}, "destination"},
      {{"aggregate", "from", "to", "more"}, "\"more\""},
      {{"aggregate", "--fast", "from", "to"}, "\"--fast\""},
      {{"aggregate", "-r", "from", "to"}, "\"-r\""},
      {{"aggregate", "--recurs", "from", "to"}, "\"--recurs\""},
      {{"aggregate", "--kind"}, "--kind"},
      {{"aggregate", "--kind", "size", "from", "to"}, "\"size\""},
      {{"aggregate", "--kind=", "from", "to"}, "\"\""},
      {{"aggregate", "--kind=Extension", "from", "to"}, "\"Extension\""},
      {{"aggregate", "--kind", "--", "from", "to"}, "\"--\""},
      {{"aggregate", "--kinds=extension", "from", "to"}, "\"--kinds=extension\""},
      {{"aggregate", "--recurse=yes", "from", "to"}, "--recurse takes no value"},
      {{"aggregate", "--move", "--copy", "from", "to"}, "--move and --copy"},
      {{"aggregate", "--copy", "--move", "from", "to"}, "--move and --copy"},
      {{"aggregate", "--kind=extension", "--kind=mime-type", "from", "to"}, "two different kinds"},
      {{"info"}, "no file was given"},
      {{"info", "--json", "--"}, "no file was given"},
      {{"info", "--yaml", "file"}, "\"--yaml\""},
      {{"integrate"}, "install, remove or status"},
      {{"integrate", "add"}, "\"add\""},
      {{"integrate", ""}, "\"\""},
      {{"integrate", "install", "more"}, "\"more\""},
      {{"defaults"}, "read, write or delete"},
      {{"defaults", "list"}, "\"list\""},
      {{"defaults", "read", "Kind"}, "\"Kind\""},
      {{"defaults", "read", "tessarytype"}, "\"tessarytype\""},
      {{"defaults", "read", "TessaryType", "more"}, "\"more\""},
      {{"defaults", "delete"}, "missing argument"},
      {{"defaults", "delete", ""}, "\"\""},
      {{"defaults", "delete", "Kind"}, "\"Kind\""},
      {{"defaults", "delete", "TessaryType", "more"}, "\"more\""},
      {{"defaults", "write"}, "missing argument"},
      {{"defaults", "write", "TessaryType", "-int"}, "missing argument"},
      {{"defaults", "write", "TessaryType", "-int", "1", "2"}, "\"2\""},
      {{"defaults", "write", "Kind", "-int", "1"}, "\"Kind\""},
      {{"defaults", "write", "TessaryType", "-float", "1"}, "\"-float\""},
      {{"defaults", "write", "TessaryType", "1", "-int"}, "\"1\""},
      {{"defaults", "write", "TessaryType", "-bool", "true"}, "-int"},
      {{"defaults", "write", "TessaryType", "-string", "2"}, "holds no string"},
      {{"defaults", "write", "QuitWhenDone", "-int", "1"}, "-bool"},
      {{"defaults", "write", "QuitWhenDone", "-string", "true"}, "holds no string"},
      {{"defaults", "write", "QuitWhenDone", "-bool", "maybe"}, "\"maybe\""},
      {{"defaults", "write", "QuitWhenDone", "-bool", ""}, "\"\""},
      {{"defaults", "write", "QuitWhenDone", "-bool", "2"}, "\"2\""},
      {{"defaults", "write", "TessaryType", "-int", ""}, "\"\""},
      {{"defaults", "write", "TessaryType", "-int", "two"}, "\"two\""},
      {{"defaults", "write", "TessaryType", "-int", "2x"}, "\"2x\""},
      {{"defaults", "write", "TessaryType", "-int", " 2"}, "\" 2\""},
      {{"defaults", "write", "TessaryType", "-int", "2.0"}, "\"2.0\""},
      {{"defaults", "write", "TessaryType", "-int", "32768"}, "32767"},
      {{"defaults", "write", "FileOperation", "-int", "-32769"}, "-32768"},
      {{"defaults", "write", "FileOperation", "-int", "99999999999999999999"}, "32767"},
  };
  for (const Row& row : rows) {
    const std::string shown = testing::PrintToString(row.arguments);
    Options options = VersionOptions();
    std::string problem;
    EXPECT_FALSE(ParseOptions(row.arguments, &options, &problem)) << shown;
    EXPECT_THAT(problem, HasSubstr(row.named)) << shown;
    EXPECT_THAT(problem, Not(HasSubstr("\n"))) << shown;
    EXPECT_TRUE(std::holds_alternative<VersionOptions>(options)) << shown;
  }
}

TEST(ParseOptions, KnowsEveryKeyThatTheSettingsHave) {
  for (const Setting& setting : kSettings) {
    const std::string key(setting.key);
    const bool isNumber = setting.type == SettingType::kNumber;
    EXPECT_EQ(key, Parse<ReadDefaultsOptions>({"defaults", "read", key}).key);
    EXPECT_EQ(key, Parse<WriteDefaultOptions>(
                       {"defaults", "write", key, isNumber ? "-int" : "-bool", "1"})
                       .key);
  }
}

}  // namespace
}  // namespace tessary::test
