#include "programs/cli/options.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "programs/cli/command_specs.h"
#include "settings/preferences.h"

namespace tessary::test {
namespace {

using Settings = std::map<std::string, CFPropertyList>;

// The options of the arguments. The test fails if they are refused or are of another type.
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

TEST(ParseOptions, MapsOptionsToSettings) {
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
      {{"-k", "creation-date"}, {{"TessaryType", int64_t{5}}}},
      {{"--recurse"}, {{"RecurseFolders", true}}},
      {{"-r"}, {{"RecurseFolders", true}}},
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

TEST(ParseOptions, EachOptionOfARunHasASetting) {
  const std::set<std::string> others = {"--quiet",   "--verbose", "--dry-run",
                                        "--journal", "--summary", "--json"};
  for (const OptionSpec& option : kAggregateSpec.options) {
    const std::string name(option.names.substr(option.names.find("--")));
    if (others.contains(name)) continue;
    const std::string value = option.value.empty() ? "" : "=extension";
    EXPECT_EQ(1U, SettingsOf({name + value}).size()) << name;
  }
}

TEST(ParseOptions, ParsesInfo) {
  const auto plain = Parse<InfoOptions>({"info", "a", "-", "b"});
  EXPECT_EQ((std::vector<std::string>{"a", "-", "b"}), plain.files);
  EXPECT_FALSE(plain.isJson);
  const auto json = Parse<InfoOptions>({"info", "a", "--json", "--", "--json"});
  EXPECT_EQ((std::vector<std::string>{"a", "--json"}), json.files);
  EXPECT_TRUE(json.isJson);
}

TEST(ParseOptions, ParsesIntegrate) {
  EXPECT_EQ(IntegrateAction::kInstall, Parse<IntegrateOptions>({"integrate", "install"}).action);
  EXPECT_EQ(IntegrateAction::kRemove, Parse<IntegrateOptions>({"integrate", "remove"}).action);
  EXPECT_EQ(IntegrateAction::kStatus, Parse<IntegrateOptions>({"integrate", "status"}).action);
}

TEST(ParseOptions, FindsSourceAndDestination) {
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
      {{"aggregate", "info", "aggregate"}, "info", "aggregate"},
  };
  for (const Row& row : rows) {
    const AggregateOptions options = Parse<AggregateOptions>(row.arguments);
    EXPECT_EQ(row.source, options.source);
    EXPECT_EQ(row.destination, options.destination);
  }
}

TEST(ParseOptions, PrintsHelpAndVersion) {
  const auto textOf = [](const std::vector<std::string>& arguments) {
    return Parse<TextOptions>(arguments).text;
  };
  EXPECT_EQ(HelpText(kProgramSpec), textOf({"--help"}));
  EXPECT_EQ(HelpText(kProgramSpec), textOf({"-h"}));
  EXPECT_EQ(HelpText(kAggregateSpec), textOf({"aggregate", "-h"}));
  EXPECT_EQ(HelpText(kAggregateSpec), textOf({"aggregate", "from", "to", "more", "--help"}));
  EXPECT_EQ(HelpText(kDefaultsSpec), textOf({"defaults", "write", "--help"}));
  EXPECT_EQ(HelpText(kInfoSpec), textOf({"info", "--help"}));
  EXPECT_EQ(HelpText(kIntegrateSpec), textOf({"integrate", "--help"}));
  EXPECT_EQ(VersionText(kProgramSpec), textOf({"--version"}));
  EXPECT_EQ(VersionText(kProgramSpec), textOf({"-V"}));
  EXPECT_EQ("--help", Parse<AggregateOptions>({"aggregate", "--", "--help", "to"}).source);
}

TEST(ParseOptions, ParsesDefaultsReadAndDelete) {
  EXPECT_EQ("", Parse<ReadDefaultsOptions>({"defaults", "read"}).key);
  EXPECT_EQ("QuitWhenDone", Parse<ReadDefaultsOptions>({"defaults", "read", "QuitWhenDone"}).key);
  EXPECT_EQ("TessaryType", Parse<DeleteDefaultOptions>({"defaults", "delete", "TessaryType"}).key);
}

TEST(ParseOptions, ParsesDefaultsWrite) {
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
      {"TessaryType", "-int", "1", int64_t{1}},
      {"FileOperation", "-int", "1", int64_t{1}},
      {"FileOperation", "-int", "2", int64_t{2}},
  };
  for (const Row& row : rows) {
    const auto typed =
        Parse<WriteDefaultOptions>({"defaults", "write", row.key, row.type, row.text});
    const auto untyped = Parse<WriteDefaultOptions>({"defaults", "write", row.key, row.text});
    for (const WriteDefaultOptions& options : {typed, untyped}) {
      EXPECT_EQ(row.key, options.key);
      EXPECT_EQ(row.value, options.value) << row.key << " " << row.text;
    }
  }
}

TEST(ParseOptions, ForcesMeaninglessNumber) {
  for (const std::string number : {"-32768", "-1", "0", "6", "32767"}) {
    const auto options =
        Parse<WriteDefaultOptions>({"defaults", "write", "TessaryType", "-int", number, "--force"});
    EXPECT_EQ(CFPropertyList(int64_t{std::stoi(number)}), options.value);
  }
}

TEST(ParseOptions, ParsesQuietAndVerbose) {
  for (const std::string option : {"-q", "--quiet"}) {
    const auto options = Parse<AggregateOptions>({"aggregate", option, "from", "to"});
    EXPECT_TRUE(options.isQuiet);
    EXPECT_FALSE(options.isVerbose);
  }
  for (const std::string option : {"-v", "--verbose"}) {
    EXPECT_TRUE(Parse<AggregateOptions>({"aggregate", option, "from", "to"}).isVerbose);
  }
}

TEST(ParseOptions, ParsesDryRun) {
  EXPECT_FALSE(Parse<AggregateOptions>({"aggregate", "from", "to"}).isDryRun);
  EXPECT_TRUE(Parse<AggregateOptions>({"aggregate", "--dry-run", "from", "to"}).isDryRun);
}

TEST(ParseOptions, NamesTheMistake) {
  struct Row {
    std::vector<std::string> arguments;
    std::string problem;
  };
  const std::string kinds =
      ": expected extension, file-type, mime-type, modification-date or creation-date";
  const std::string keys =
      ": expected FileOperation, TessaryType, QuitWhenDone, RecurseFolders, "
      "ReplaceFilesBySameName, AggregateAppResourcesOnly or PreserveComments";
  const std::string booleans = ": expected true, yes, 1, false, no or 0";
  const std::string numbers = ": expected a whole number from -32768 to 32767";
  const std::string tryAggregate = ". Try 'tessary-cli aggregate --help'.";
  const std::string tryDefaults = ". Try 'tessary-cli defaults --help'.";
  const std::vector<Row> rows = {
      {{}, "missing command. Try 'tessary-cli --help'."},
      {{"--"}, "missing command. Try 'tessary-cli --help'."},
      {{"aggregat"}, "aggregat: unknown command; did you mean aggregate?"},
      {{"run"}, "run: unknown command: expected aggregate, defaults, info, integrate or undo"},
      {{""}, "\"\": unknown command: expected aggregate, defaults, info, integrate or undo"},
      {{"--verbose"}, "--verbose: unknown option. Try 'tessary-cli --help'."},
      {{"--move", "aggregate", "from", "to"}, "--move: unknown option. Try 'tessary-cli --help'."},
      {{"--help", "me"}, "--help takes no arguments"},
      {{"--version", "2"}, "--version takes no arguments"},
      {{"aggregate"}, "missing SOURCE and DESTINATION" + tryAggregate},
      {{"aggregate", "from"}, "missing DESTINATION" + tryAggregate},
      {{"aggregate", "from", "to", "more"}, "more: unexpected argument" + tryAggregate},
      {{"aggregate", "--fast", "from", "to"}, "--fast: unknown option" + tryAggregate},
      {{"aggregate", "-n", "from", "to"}, "-n: unknown option" + tryAggregate},
      {{"aggregate", "--recurs", "from", "to"},
       "--recurs: unknown option; did you mean --recurse?"},
      {{"aggregate", "--kind"}, "option --kind requires a value" + tryAggregate},
      {{"aggregate", "--kind=", "from", "to"}, "option --kind requires a value" + tryAggregate},
      {{"aggregate", "--kind", "size", "from", "to"}, "size: unknown kind" + kinds},
      {{"aggregate", "--kind", "--", "from", "to"}, "--: unknown kind" + kinds},
      {{"aggregate", "--kind=Extension", "from", "to"},
       "Extension: unknown kind; did you mean extension?"},
      {{"aggregate", "--recurse=yes", "from", "to"},
       "option --recurse does not take a value" + tryAggregate},
      {{"aggregate", "--move", "--copy", "from", "to"}, "--move and --copy contradict each other"},
      {{"aggregate", "--copy", "--move", "from", "to"}, "--move and --copy contradict each other"},
      {{"aggregate", "-k", "extension", "--kind=mime-type", "from", "to"},
       "--kind given twice with different values"},
      {{"info"}, "missing FILE. Try 'tessary-cli info --help'."},
      {{"info", "--json", "--"}, "missing FILE. Try 'tessary-cli info --help'."},
      {{"info", "--yaml", "file"}, "--yaml: unknown option. Try 'tessary-cli info --help'."},
      {{"integrate"}, "missing action: expected install, remove or status"},
      {{"integrate", "add"}, "add: unknown action: expected install, remove or status"},
      {{"integrate", "instal"}, "instal: unknown action; did you mean install?"},
      {{"integrate", ""}, "\"\": unknown action: expected install, remove or status"},
      {{"integrate", "install", "more"},
       "more: unexpected argument. Try 'tessary-cli integrate --help'."},
      {{"defaults"}, "missing action: expected read, write or delete"},
      {{"defaults", "list"}, "list: unknown action: expected read, write or delete"},
      {{"defaults", "read", "--json"}, "--json: unknown option" + tryDefaults},
      {{"defaults", "read", "Kind"}, "Kind: unknown key" + keys},
      {{"defaults", "read", "tessarytype"}, "tessarytype: unknown key; did you mean TessaryType?"},
      {{"defaults", "read", "TessaryType", "more"}, "more: unexpected argument" + tryDefaults},
      {{"defaults", "delete"}, "missing KEY" + tryDefaults},
      {{"defaults", "delete", ""}, "\"\": unknown key" + keys},
      {{"defaults", "delete", "Kind"}, "Kind: unknown key" + keys},
      {{"defaults", "delete", "TessaryType", "more"}, "more: unexpected argument" + tryDefaults},
      {{"defaults", "write"}, "missing KEY" + tryDefaults},
      {{"defaults", "write", "TessaryType"}, "missing VALUE" + tryDefaults},
      {{"defaults", "write", "TessaryType", "-int"}, "missing VALUE" + tryDefaults},
      {{"defaults", "write", "TessaryType", "-int", "1", "2"},
       "2: unexpected argument" + tryDefaults},
      {{"defaults", "write", "Kind", "-int", "1"}, "Kind: unknown key" + keys},
      {{"defaults", "write", "TessaryType", "-float", "1"},
       "-float: unknown type: expected -bool or -int"},
      {{"defaults", "write", "TessaryType", "1", "-int"},
       "1: unknown type: expected -bool or -int"},
      {{"defaults", "write", "TessaryType", "-bool", "true"}, "TessaryType is a number: use -int"},
      {{"defaults", "write", "TessaryType", "-string", "2"}, "TessaryType is a number: use -int"},
      {{"defaults", "write", "QuitWhenDone", "-int", "1"}, "QuitWhenDone is a boolean: use -bool"},
      {{"defaults", "write", "QuitWhenDone", "-string", "true"},
       "QuitWhenDone is a boolean: use -bool"},
      {{"defaults", "write", "QuitWhenDone", "-bool", "maybe"},
       "maybe: invalid value for QuitWhenDone" + booleans},
      {{"defaults", "write", "QuitWhenDone", ""},
       "\"\": invalid value for QuitWhenDone" + booleans},
      {{"defaults", "write", "QuitWhenDone", "2"}, "2: invalid value for QuitWhenDone" + booleans},
      {{"defaults", "write", "TessaryType", "-int", ""},
       "\"\": invalid value for TessaryType" + numbers},
      {{"defaults", "write", "TessaryType", "two"}, "two: invalid value for TessaryType" + numbers},
      {{"defaults", "write", "TessaryType", "2x"}, "2x: invalid value for TessaryType" + numbers},
      {{"defaults", "write", "TessaryType", " 2"}, " 2: invalid value for TessaryType" + numbers},
      {{"defaults", "write", "TessaryType", "2.0"}, "2.0: invalid value for TessaryType" + numbers},
      {{"defaults", "write", "TessaryType", "6"},
       "6: invalid value for TessaryType: expected a number from 1 to 5, or --force"},
      {{"defaults", "write", "FileOperation", "0"},
       "0: invalid value for FileOperation: expected 1 or 2, or --force"},
      {{"defaults", "read", "--force"}, "--force requires write" + tryDefaults},
      {{"aggregate", "-q", "--verbose", "from", "to"},
       "--quiet and --verbose contradict each other"},
      {{"aggregate", "--dry-run", "--journal", "file", "from", "to"},
       "--dry-run and --journal contradict each other"},
      {{"defaults", "write", "TessaryType", "32768"},
       "32768: invalid value for TessaryType" + numbers},
      {{"defaults", "write", "FileOperation", "-int", "-32769"},
       "-32769: invalid value for FileOperation" + numbers},
      {{"defaults", "write", "FileOperation", "99999999999999999999"},
       "99999999999999999999: invalid value for FileOperation" + numbers},
  };
  for (const Row& row : rows) {
    const std::string shown = testing::PrintToString(row.arguments);
    Options options = TextOptions{"as it was"};
    std::string problem;
    EXPECT_FALSE(ParseOptions(row.arguments, &options, &problem)) << shown;
    EXPECT_EQ(row.problem, problem) << shown;
    const auto* text = std::get_if<TextOptions>(&options);
    ASSERT_NE(nullptr, text) << shown;
    EXPECT_EQ("as it was", text->text) << shown;
  }
}

TEST(ParseOptions, AcceptsEachKey) {
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
