#include "programs/cli/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "programs/cli/command_specs.h"
#include "programs/cli/messages.h"
#include "programs/cli/option_parser.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

using Words = std::vector<std::string>;

// Any number but kFileOperationCopy means moving.
constexpr int64_t kFileOperationMove = 1;

struct Flag {
  std::string_view name;
  std::string_view key;
  CFPropertyList value;
};

// The accessors of the two last settings mean the opposite of their keys. These values make them
// carry comments over, and keep an application whole.
const std::array<Flag, 6> kFlags = {{
    {"--recurse", "RecurseFolders", true},
    {"--move", "FileOperation", kFileOperationMove},
    {"--copy", "FileOperation", int64_t{kFileOperationCopy}},
    {"--replace", "ReplaceFilesBySameName", true},
    {"--preserve-comments", "PreserveComments", false},
    {"--whole-application", "AggregateAppResourcesOnly", true},
}};

// In the order of AggregationKind, which begins with 1.
constexpr std::array<std::string_view, 5> kKindNames = {"extension", "file-type", "mime-type",
                                                        "modification-date", "creation-date"};

constexpr std::array<std::pair<std::string_view, bool>, 6> kBooleans = {{
    {"true", true},
    {"yes", true},
    {"1", true},
    {"false", false},
    {"no", false},
    {"0", false},
}};

bool Refuse(std::string* problem, std::string sentence) {
  *problem = std::move(sentence);
  return false;
}

// "A, B or C".
std::string ListOf(std::span<const std::string_view> words) {
  std::string list(words.front());
  for (size_t i = 1; i < words.size(); ++i) {
    list.append(i + 1 == words.size() ? " or " : ", ").append(words[i]);
  }
  return list;
}

// The problem of a word that is not one of `known`: "size: unknown kind: expected A or B".
std::string DescribeUnknownWord(const std::string& word, std::string_view what,
                                std::span<const std::string_view> known) {
  std::string problem = Shown(word).append(": unknown ").append(what);
  const std::string suggestion = Suggestion(word, known);
  return problem.append(suggestion.empty() ? ": expected " + ListOf(known) : suggestion);
}

std::string DescribeUnexpected(const std::string& argument, const CommandSpec& command) {
  return WithHelpHint(Shown(argument) + ": unexpected argument", command);
}

// ---- aggregate ----

bool AddKind(const Words& names, AggregateOptions* options, std::string* problem) {
  for (const std::string& name : names) {
    const auto* kind = std::ranges::find(kKindNames, name);
    if (kind == kKindNames.end()) {
      return Refuse(problem, DescribeUnknownWord(name, "kind", kKindNames));
    }
    const int64_t number = 1 + (kind - kKindNames.begin());
    const auto [entry, isNew] = options->settings.try_emplace("TessaryType", number);
    if (!isNew && entry->second != CFPropertyList(number)) {
      return Refuse(problem, "--kind given twice with different values");
    }
  }
  return true;
}

bool ParseAggregate(const ParsedArguments& parsed, Options* options, std::string* problem) {
  AggregateOptions aggregate;
  if (const auto kinds = parsed.options.find("--kind"); kinds != parsed.options.end()) {
    if (!AddKind(kinds->second, &aggregate, problem)) return false;
  }
  for (const Flag& flag : kFlags) {
    if (!parsed.options.contains(flag.name)) continue;
    if (!aggregate.settings.try_emplace(std::string(flag.key), flag.value).second) {
      return Refuse(problem, "--move and --copy contradict each other");
    }
  }
  const Words& operands = parsed.operands;
  if (operands.size() < 2) {
    return Refuse(problem, WithHelpHint(operands.empty() ? "missing SOURCE and DESTINATION"
                                                         : "missing DESTINATION",
                                        kAggregateSpec));
  }
  if (operands.size() > 2) return Refuse(problem, DescribeUnexpected(operands[2], kAggregateSpec));
  aggregate.source = operands[0];
  aggregate.destination = operands[1];
  *options = std::move(aggregate);
  return true;
}

// ---- defaults ----

const Setting* FindSetting(const std::string& key, std::string* problem) {
  const auto* found = std::ranges::find(kSettings, key, &Setting::key);
  if (found != kSettings.end()) return found;
  std::array<std::string_view, kSettings.size()> keys;
  std::ranges::transform(kSettings, keys.begin(), &Setting::key);
  *problem = DescribeUnknownWord(key, "key", keys);
  return nullptr;
}

std::optional<CFPropertyList> ParseBoolean(const std::string& text) {
  for (const auto& [name, value] : kBooleans) {
    if (text == name) return value;
  }
  return std::nullopt;
}

// The settings are read as 16-bit numbers; a larger one would come back as another number.
std::optional<CFPropertyList> ParseNumber(const std::string& text) {
  int16_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return int64_t{number};
}

// The type that may precede a value has to be that of the key.
bool CheckType(const std::string& type, const Setting& setting, std::string* problem) {
  constexpr std::array<std::string_view, 2> kTypes = {"-bool", "-int"};
  const bool isBoolean = setting.type == SettingType::kBoolean;
  if (type == (isBoolean ? "-bool" : "-int")) return true;
  if (type != "-bool" && type != "-int" && type != "-string") {
    return Refuse(problem, DescribeUnknownWord(type, "type", kTypes));
  }
  return Refuse(problem, std::string(setting.key) +
                             (isBoolean ? " is a boolean: use -bool" : " is a number: use -int"));
}

// `operands` are KEY [TYPE] VALUE.
bool ParseWrite(const Words& operands, Options* options, std::string* problem) {
  const Setting* setting = FindSetting(operands[0], problem);
  if (setting == nullptr) return false;
  if (operands.size() == 3 && !CheckType(operands[1], *setting, problem)) return false;
  const std::string& text = operands.back();
  const bool isBoolean = setting->type == SettingType::kBoolean;
  const std::optional<CFPropertyList> value = isBoolean ? ParseBoolean(text) : ParseNumber(text);
  if (!value) {
    return Refuse(problem, Shown(text) + ": invalid value for " + std::string(setting->key) +
                               (isBoolean ? ": expected true, yes, 1, false, no or 0"
                                          : ": expected a whole number from -32768 to 32767"));
  }
  *options = WriteDefaultOptions{std::string(setting->key), *value};
  return true;
}

struct DefaultsAction {
  std::string_view name;
  size_t minOperands;
  size_t maxOperands;
};

constexpr std::array<DefaultsAction, 3> kDefaultsActions = {{
    {"read", 0, 1},
    {"write", 2, 3},
    {"delete", 1, 1},
}};
constexpr std::array<std::string_view, 3> kDefaultsActionNames = {"read", "write", "delete"};

bool IsType(const std::string& operand) {
  return operand == "-bool" || operand == "-int" || operand == "-string";
}

bool CheckOperandCount(const DefaultsAction& action, const Words& operands, std::string* problem) {
  const bool endsWithType =
      action.name == "write" && operands.size() == 2 && IsType(operands.back());
  if (operands.size() < action.minOperands || endsWithType) {
    return Refuse(problem,
                  WithHelpHint(operands.empty() ? "missing KEY" : "missing VALUE", kDefaultsSpec));
  }
  if (operands.size() <= action.maxOperands) return true;
  return Refuse(problem, DescribeUnexpected(operands[action.maxOperands], kDefaultsSpec));
}

bool ParseDefaults(const ParsedArguments& parsed, Options* options, std::string* problem) {
  if (parsed.operands.empty()) {
    return Refuse(problem, "missing action: expected " + ListOf(kDefaultsActionNames));
  }
  const std::string& name = parsed.operands.front();
  const auto* action = std::ranges::find(kDefaultsActions, name, &DefaultsAction::name);
  if (action == kDefaultsActions.end()) {
    return Refuse(problem, DescribeUnknownWord(name, "action", kDefaultsActionNames));
  }
  const Words operands(parsed.operands.begin() + 1, parsed.operands.end());
  if (!CheckOperandCount(*action, operands, problem)) return false;
  if (action->name == "write") return ParseWrite(operands, options, problem);
  const std::string key = operands.empty() ? std::string() : operands.front();
  if (!operands.empty() && FindSetting(key, problem) == nullptr) return false;
  if (action->name == "delete") {
    *options = DeleteDefaultOptions{key};
  } else {
    *options = ReadDefaultsOptions{key};
  }
  return true;
}

// ---- integrate, info ----

bool ParseIntegrate(const ParsedArguments& parsed, Options* options, std::string* problem) {
  // In the order of IntegrateAction.
  constexpr std::array<std::string_view, 3> kActions = {"install", "remove", "status"};
  const Words& operands = parsed.operands;
  if (operands.empty()) return Refuse(problem, "missing action: expected " + ListOf(kActions));
  const auto* action = std::ranges::find(kActions, operands[0]);
  if (action == kActions.end()) {
    return Refuse(problem, DescribeUnknownWord(operands[0], "action", kActions));
  }
  if (operands.size() > 1) return Refuse(problem, DescribeUnexpected(operands[1], kIntegrateSpec));
  *options = IntegrateOptions{static_cast<IntegrateAction>(action - kActions.begin())};
  return true;
}

bool ParseInfo(const ParsedArguments& parsed, Options* options, std::string* problem) {
  if (parsed.operands.empty()) return Refuse(problem, WithHelpHint("missing FILE", kInfoSpec));
  *options = InfoOptions{parsed.operands, parsed.options.contains("--json")};
  return true;
}

// ---- All ----

struct Command {
  std::string_view name;
  const CommandSpec& spec;
  bool (*parse)(const ParsedArguments& parsed, Options* options, std::string* problem);
};

const std::array<Command, 4> kCommands = {{
    {"aggregate", kAggregateSpec, ParseAggregate},
    {"defaults", kDefaultsSpec, ParseDefaults},
    {"info", kInfoSpec, ParseInfo},
    {"integrate", kIntegrateSpec, ParseIntegrate},
}};

// The program's own options, which stand alone.
bool ParseProgram(const Words& arguments, Options* options, std::string* problem) {
  ParsedArguments parsed;
  if (!ParseArguments(kProgramSpec, arguments, &parsed, problem)) return false;
  const bool isVersionWanted = parsed.options.contains("--version");
  if (!parsed.isHelpWanted && !isVersionWanted) {
    return Refuse(problem, WithHelpHint("missing command", kProgramSpec));
  }
  if (!parsed.operands.empty()) {
    return Refuse(problem, parsed.isHelpWanted ? "--help takes no arguments"
                                               : "--version takes no arguments");
  }
  *options = TextOptions{parsed.isHelpWanted ? HelpText(kProgramSpec) : VersionText(kProgramSpec)};
  return true;
}

}  // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem) {
  if (arguments.empty() || arguments[0].starts_with('-')) {
    return ParseProgram(arguments, options, problem);
  }
  const auto* command = std::ranges::find(kCommands, arguments[0], &Command::name);
  if (command == kCommands.end()) {
    std::array<std::string_view, kCommands.size()> names;
    std::ranges::transform(kCommands, names.begin(), &Command::name);
    return Refuse(problem, DescribeUnknownWord(arguments[0], "command", names));
  }
  ParsedArguments parsed;
  const Words rest(arguments.begin() + 1, arguments.end());
  if (!ParseArguments(command->spec, rest, &parsed, problem)) return false;
  if (!parsed.isHelpWanted) return command->parse(parsed, options, problem);
  *options = TextOptions{HelpText(command->spec)};
  return true;
}

}  // namespace tessary
