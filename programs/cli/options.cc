#include "programs/cli/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "programs/cli/command_specs.h"
#include "programs/cli/messages.h"
#include "programs/cli/option_parser.h"
#include "programs/cli/settings_report.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

using Words = std::vector<std::string>;

// "A, B or C".
std::string ListOf(std::span<const std::string_view> words) {
  std::string list(words.front());
  for (size_t i = 1; i < words.size(); ++i) {
    list.append(i + 1 == words.size() ? " or " : ", ").append(words[i]);
  }
  return list;
}

// The index of `word` in `known`. If it is not there, the problem is
// "size: unknown kind: expected A or B".
size_t IndexOf(const std::string& word, const char* what, std::span<const std::string_view> known) {
  const auto found = std::ranges::find(known, word);
  if (found != known.end()) return static_cast<size_t>(found - known.begin());
  const std::string suggestion = Suggestion(word, known);
  throw UsageError(Shown(word) + ": unknown " + what +
                   (suggestion.empty() ? ": expected " + ListOf(known) : suggestion));
}

// The index of a command's action, its first operand.
size_t ActionIndex(const Words& operands, std::span<const std::string_view> actions) {
  if (operands.empty()) throw UsageError("missing action: expected " + ListOf(actions));
  return IndexOf(operands[0], "action", actions);
}

void CheckOperandCount(const Words& operands, size_t maxCount, const CommandSpec& command) {
  if (operands.size() <= maxCount) return;
  throw UsageError(WithHelpHint(Shown(operands[maxCount]) + ": unexpected argument", command));
}

ParsedArguments SplitArguments(const CommandSpec& command, const Words& arguments) {
  ParsedArguments parsed;
  std::string problem;
  if (!ParseArguments(command, arguments, &parsed, &problem)) throw UsageError(problem);
  return parsed;
}

// ---- aggregate ----

struct Flag {
  const char* name;
  const char* key;
  CFPropertyList value;
};

// Any number but kFileOperationCopy means moving. The accessors of the two last settings mean the
// opposite of their keys. These values make them carry comments over, and keep an application
// whole.
const std::array<Flag, 6> kFlags = {{
    {"--recurse", "RecurseFolders", true},
    {"--move", "FileOperation", int64_t{1}},
    {"--copy", "FileOperation", int64_t{kFileOperationCopy}},
    {"--replace", "ReplaceFilesBySameName", true},
    {"--preserve-comments", "PreserveComments", false},
    {"--whole-application", "AggregateAppResourcesOnly", true},
}};

// Overrides a setting. It is a mistake if another option has given it another value.
void Override(AggregateOptions* options, const char* key, const CFPropertyList& value,
              const char* conflict) {
  if (options->settings.try_emplace(key, value).first->second != value) throw UsageError(conflict);
}

// The file of --journal; empty without the option.
std::string JournalOption(const ParsedArguments& parsed) {
  const auto given = parsed.options.find("--journal");
  if (given == parsed.options.end()) return {};
  if (given->second.size() > 1) throw UsageError("--journal given twice");
  if (given->second[0].empty()) throw UsageError("--journal: missing FILE");
  return given->second[0];
}

Options ParseAggregate(const ParsedArguments& parsed) {
  AggregateOptions aggregate;
  if (const auto kinds = parsed.options.find("--kind"); kinds != parsed.options.end()) {
    for (const std::string& name : kinds->second) {
      const auto number = static_cast<int64_t>(1 + IndexOf(name, "kind", kKindNames));
      Override(&aggregate, "TessaryType", number, "--kind given twice with different values");
    }
  }
  for (const Flag& flag : kFlags) {
    if (!parsed.options.contains(flag.name)) continue;
    Override(&aggregate, flag.key, flag.value, "--move and --copy contradict each other");
  }
  aggregate.isDryRun = parsed.options.contains("--dry-run");
  aggregate.isQuiet = parsed.options.contains("--quiet");
  aggregate.isVerbose = parsed.options.contains("--verbose");
  aggregate.isJson = parsed.options.contains("--json");
  aggregate.hasSummary = parsed.options.contains("--summary");
  if (aggregate.isQuiet && aggregate.isVerbose) {
    throw UsageError("--quiet and --verbose contradict each other");
  }
  aggregate.journal = JournalOption(parsed);
  if (aggregate.isDryRun && !aggregate.journal.empty()) {
    throw UsageError("--dry-run and --journal contradict each other");
  }
  const Words& operands = parsed.operands;
  if (operands.size() < 2) {
    const char* missing =
        operands.empty() ? "missing SOURCE and DESTINATION" : "missing DESTINATION";
    throw UsageError(WithHelpHint(missing, kAggregateSpec));
  }
  CheckOperandCount(operands, 2, kAggregateSpec);
  aggregate.source = operands[0];
  aggregate.destination = operands[1];
  return aggregate;
}

// ---- defaults ----

const Setting& FindSetting(const std::string& key) {
  std::array<std::string_view, kSettings.size()> keys;
  std::ranges::transform(kSettings, keys.begin(), &Setting::key);
  return kSettings[IndexOf(key, "key", keys)];
}

CFPropertyList ParseValue(const std::string& text, const Setting& setting, bool isForced) {
  const std::string problem =
      Shown(text) + ": invalid value for " + std::string(setting.key) + ": expected ";
  if (setting.type == SettingType::kBoolean) {
    constexpr std::array<std::string_view, 6> kWords = {"true", "yes", "1", "false", "no", "0"};
    const auto* word = std::ranges::find(kWords, text);
    if (word == kWords.end()) throw UsageError(problem + ListOf(kWords));
    return word < kWords.begin() + 3;
  }
  // The settings are read as 16-bit numbers; a larger one would come back as another number.
  int16_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) {
    throw UsageError(problem + "a whole number from -32768 to 32767");
  }
  CFPropertyList value = int64_t{number};
  const std::optional<std::string> expected = ExpectedInstead(setting, value);
  if (expected && !isForced) throw UsageError(problem + *expected + ", or --force");
  return value;
}

// The types that may precede a value. There are no string settings, so that the last is refused.
constexpr std::array<std::string_view, 3> kTypes = {"-bool", "-int", "-string"};

// The type has to be that of the key.
void CheckType(const std::string& type, const Setting& setting) {
  const bool isBoolean = setting.type == SettingType::kBoolean;
  if (type == kTypes[isBoolean ? 0 : 1]) return;
  // Throws if the type is unknown.
  if (type != "-string") IndexOf(type, "type", std::span(kTypes).first(2));
  throw UsageError(std::string(setting.key) +
                   (isBoolean ? " is a boolean: use -bool" : " is a number: use -int"));
}

Options ParseDefaults(const ParsedArguments& parsed) {
  constexpr std::array<std::string_view, 3> kActions = {"read", "write", "delete"};
  const std::string_view action = kActions[ActionIndex(parsed.operands, kActions)];
  const Words operands(parsed.operands.begin() + 1, parsed.operands.end());
  const bool isWrite = action == "write";
  const bool isForced = parsed.options.contains("--force");
  if (isForced && !isWrite) throw UsageError(WithHelpHint("--force requires write", kDefaultsSpec));
  if (operands.empty() && action == "read") return ReadDefaultsOptions();
  if (operands.empty()) throw UsageError(WithHelpHint("missing KEY", kDefaultsSpec));
  const bool endsWithType = operands.size() == 2 && std::ranges::count(kTypes, operands[1]) != 0;
  if (isWrite && (operands.size() == 1 || endsWithType)) {
    throw UsageError(WithHelpHint("missing VALUE", kDefaultsSpec));
  }
  CheckOperandCount(operands, isWrite ? 3 : 1, kDefaultsSpec);
  const Setting& setting = FindSetting(operands[0]);
  if (action == "read") return ReadDefaultsOptions{operands[0]};
  if (action == "delete") return DeleteDefaultOptions{operands[0]};
  if (operands.size() == 3) CheckType(operands[1], setting);
  return WriteDefaultOptions{operands[0], ParseValue(operands.back(), setting, isForced)};
}

// ---- integrate, info, undo ----

Options ParseIntegrate(const ParsedArguments& parsed) {
  // In the order of IntegrateAction.
  constexpr std::array<std::string_view, 3> kActions = {"install", "remove", "status"};
  const auto action = static_cast<IntegrateAction>(ActionIndex(parsed.operands, kActions));
  CheckOperandCount(parsed.operands, 1, kIntegrateSpec);
  return IntegrateOptions{action};
}

Options ParseInfo(const ParsedArguments& parsed) {
  if (parsed.operands.empty()) throw UsageError(WithHelpHint("missing FILE", kInfoSpec));
  return InfoOptions{parsed.operands, parsed.options.contains("--json")};
}

Options ParseUndo(const ParsedArguments& parsed) {
  if (parsed.operands.empty()) throw UsageError(WithHelpHint("missing JOURNAL", kUndoSpec));
  CheckOperandCount(parsed.operands, 1, kUndoSpec);
  return UndoOptions{parsed.options.contains("--dry-run"), parsed.operands[0]};
}

// ---- tessary-cli ----

struct Command {
  const CommandSpec& spec;
  Options (*parse)(const ParsedArguments& parsed);
};

constexpr std::array<std::string_view, 5> kCommandNames = {"aggregate", "defaults", "info",
                                                           "integrate", "undo"};
// In the order of kCommandNames.
constexpr std::array<Command, 5> kCommands = {{{kAggregateSpec, ParseAggregate},
                                               {kDefaultsSpec, ParseDefaults},
                                               {kInfoSpec, ParseInfo},
                                               {kIntegrateSpec, ParseIntegrate},
                                               {kUndoSpec, ParseUndo}}};

// The program's own options, which stand alone.
Options ParseProgram(const Words& arguments) {
  const ParsedArguments parsed = SplitArguments(kProgramSpec, arguments);
  if (!parsed.isHelpWanted && !parsed.options.contains("--version")) {
    throw UsageError(WithHelpHint("missing command", kProgramSpec));
  }
  if (!parsed.operands.empty()) {
    const std::string option = parsed.isHelpWanted ? "--help" : "--version";
    throw UsageError(option + " takes no arguments");
  }
  return TextOptions{parsed.isHelpWanted ? HelpText(kProgramSpec) : VersionText(kProgramSpec)};
}

Options ParseCommand(const Words& arguments) {
  const Command& command = kCommands[IndexOf(arguments[0], "command", kCommandNames)];
  const Words rest(arguments.begin() + 1, arguments.end());
  const ParsedArguments parsed = SplitArguments(command.spec, rest);
  if (parsed.isHelpWanted) return TextOptions{HelpText(command.spec)};
  return command.parse(parsed);
}

// ---- tessary ----

// The options of QApplication and of its X11 plugin, which take one dash or two.
constexpr std::array<std::string_view, 16> kQtOptionsWithValue = {
    "display",         "geometry",           "icon",          "name",
    "platform",        "platformpluginpath", "platformtheme", "plugin",
    "qwindowgeometry", "qwindowicon",        "qwindowtitle",  "session",
    "style",           "stylesheet",         "title",         "visual"};
// Options without a value, and with "=" those that take one in the same argument.
constexpr std::array<std::string_view, 10> kQtFlags = {
    "dograb",  "nograb", "qdebug",      "qdevel",      "qmljsdebugger=",
    "reverse", "style=", "stylesheet=", "testability", "widgetcount"};

// Appends what Qt interprets to `*qtOptions`, as far as the "--" that ends options. Returns the
// other arguments.
Words TakeQtOptions(const Words& arguments, Words* qtOptions) {
  Words rest;
  auto at = arguments.begin();
  for (; at != arguments.end() && *at != "--"; ++at) {
    size_t dashes = at->starts_with('-') ? 1 : 0;
    if (at->starts_with("--")) dashes = 2;
    const size_t equals = at->find('=');
    const size_t nameEnd = equals == std::string::npos ? at->size() : equals + 1;
    const std::string_view name = std::string_view(*at).substr(dashes, nameEnd - dashes);
    const bool hasValue = dashes > 0 && std::ranges::count(kQtOptionsWithValue, name) != 0;
    const bool isQtOption = hasValue || (dashes > 0 && std::ranges::count(kQtFlags, name) != 0);
    (isQtOption ? qtOptions : &rest)->push_back(*at);
    if (!hasValue) continue;
    if (at + 1 == arguments.end()) {
      throw UsageError(WithHelpHint("option " + *at + " requires a value", kDesktopSpec));
    }
    qtOptions->push_back(*++at);
  }
  rest.insert(rest.end(), at, arguments.end());
  return rest;
}

}  // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem) try {
  const bool isCommand = !arguments.empty() && !arguments[0].starts_with('-');
  *options = isCommand ? ParseCommand(arguments) : ParseProgram(arguments);
  return true;
} catch (const UsageError& error) {
  *problem = error.what();
  return false;
}

bool ParseDesktopOptions(const std::vector<std::string>& arguments, DesktopOptions* options,
                         std::string* problem) try {
  DesktopOptions result;
  const Words own = TakeQtOptions(arguments, &result.qtOptions);
  ParsedArguments parsed = SplitArguments(kDesktopSpec, own);
  if (parsed.options.contains("--version")) result.text = VersionText(kDesktopSpec);
  if (parsed.isHelpWanted) result.text = HelpText(kDesktopSpec);
  result.isAggregate = parsed.options.contains("--aggregate");
  if (result.isAggregate && result.text.empty() && parsed.operands.empty()) {
    throw UsageError(WithHelpHint("missing FOLDER", kDesktopSpec));
  }
  result.folders = std::move(parsed.operands);
  *options = std::move(result);
  return true;
} catch (const UsageError& error) {
  *problem = error.what();
  return false;
}

}  // namespace tessary
