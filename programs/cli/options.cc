#include "programs/cli/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "programs/cli/messages.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

using Arguments = std::span<const std::string>;

constexpr std::string_view kSeeHelp = ": see tessary-cli --help";

// Moving is any number but the one for copying; this is the one that is written for it.
constexpr int64_t kFileOperationMove = 1;

struct Flag {
  std::string_view name;
  std::string_view key;
  CFPropertyList value;
};

// The two last lay what makes the accessors, which tell the opposite of their keys, answer yes to
// carrying comments over and no to reducing an application.
const std::array<Flag, 6> kFlags = {{
    {"--recurse", "RecurseFolders", true},
    {"--move", "FileOperation", kFileOperationMove},
    {"--copy", "FileOperation", int64_t{kFileOperationCopy}},
    {"--replace", "ReplaceFilesBySameName", true},
    {"--preserve-comments", "PreserveComments", false},
    {"--whole-application", "AggregateAppResourcesOnly", true},
}};

constexpr std::array<std::pair<std::string_view, AggregationKind>, 5> kKinds = {{
    {"extension", AggregationKind::kExtension},
    {"file-type", AggregationKind::kFileType},
    {"mime-type", AggregationKind::kMimeType},
    {"modification-date", AggregationKind::kModificationDate},
    {"creation-date", AggregationKind::kCreationDate},
}};

constexpr std::array<std::pair<std::string_view, bool>, 6> kBooleans = {{
    {"true", true},
    {"yes", true},
    {"1", true},
    {"false", false},
    {"no", false},
    {"0", false},
}};

constexpr std::string_view kKindOption = "--kind";
constexpr std::string_view kKindNames =
    "extension, file-type, mime-type, modification-date or creation-date";

bool Refuse(std::string* problem, std::string sentence) {
  *problem = std::move(sentence);
  return false;
}

bool AddSetting(std::string_view key, const CFPropertyList& value, AggregateOptions* options,
                std::string* problem) {
  const auto [entry, isNew] = options->settings.try_emplace(std::string(key), value);
  if (isNew || entry->second == value) return true;
  if (key == "TessaryType") return Refuse(problem, "two different kinds: give --kind once");
  return Refuse(problem, "--move and --copy contradict each other: give one of them");
}

bool AddKind(const std::string& name, AggregateOptions* options, std::string* problem) {
  for (const auto& [kindName, kind] : kKinds) {
    if (name != kindName) continue;
    return AddSetting("TessaryType", static_cast<int64_t>(kind), options, problem);
  }
  return Refuse(problem, "unknown kind " + Quoted(name) + ": give " + std::string(kKindNames));
}

bool AddFlag(const std::string& name, AggregateOptions* options, std::string* problem) {
  for (const Flag& flag : kFlags) {
    if (name == flag.name) return AddSetting(flag.key, flag.value, options, problem);
    if (name.starts_with(std::string(flag.name) + "=")) {
      return Refuse(problem, "option " + std::string(flag.name) + " takes no value: leave out " +
                                 Quoted(name.substr(flag.name.size())));
    }
  }
  return Refuse(problem, "unknown option " + Quoted(name) + std::string(kSeeHelp));
}

bool TakeOperands(const std::vector<std::string>& operands, AggregateOptions* options,
                  std::string* problem) {
  if (operands.size() < 2) {
    return Refuse(problem, std::string(operands.empty() ? "no source" : "no destination") +
                               " was given: aggregate takes a SOURCE and a DESTINATION");
  }
  if (operands.size() > 2) {
    return Refuse(problem, "surplus argument " + Quoted(operands[2]) +
                               ": aggregate takes one SOURCE and one DESTINATION");
  }
  options->source = operands[0];
  options->destination = operands[1];
  return true;
}

bool ParseAggregate(Arguments arguments, Options* options, std::string* problem) {
  const std::string kindPrefix = std::string(kKindOption) + "=";
  AggregateOptions aggregate;
  std::vector<std::string> operands;
  bool optionsEnded = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
      operands.push_back(argument);
    } else if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--help") {
      *options = HelpOptions();
      return true;
    } else if (argument == kKindOption) {
      if (++i == arguments.size()) {
        return Refuse(problem, "option --kind needs a value: give " + std::string(kKindNames));
      }
      if (!AddKind(arguments[i], &aggregate, problem)) return false;
    } else if (argument.starts_with(kindPrefix)) {
      if (!AddKind(argument.substr(kindPrefix.size()), &aggregate, problem)) return false;
    } else if (!AddFlag(argument, &aggregate, problem)) {
      return false;
    }
  }
  if (!TakeOperands(operands, &aggregate, problem)) return false;
  *options = std::move(aggregate);
  return true;
}

std::string ListOfKeys() {
  std::string list;
  for (const Setting& setting : kSettings) {
    if (!list.empty()) list += &setting == &kSettings.back() ? " or " : ", ";
    list += setting.key;
  }
  return list;
}

const Setting* FindSetting(const std::string& key, std::string* problem) {
  const auto* found = std::find_if(kSettings.begin(), kSettings.end(),
                                   [&](const Setting& setting) { return setting.key == key; });
  if (found != kSettings.end()) return found;
  *problem = "unknown settings key " + Quoted(key) + ": give " + ListOfKeys();
  return nullptr;
}

std::optional<CFPropertyList> ParseBoolean(const std::string& text) {
  for (const auto& [name, value] : kBooleans) {
    if (text == name) return value;
  }
  return std::nullopt;
}

// The number keys are read as 16-bit numbers; what does not fit would come back as another number.
std::optional<CFPropertyList> ParseNumber(const std::string& text) {
  int16_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return int64_t{number};
}

bool ParseWrite(Arguments arguments, Options* options, std::string* problem) {
  const Setting* setting = FindSetting(arguments[0], problem);
  if (setting == nullptr) return false;
  const std::string& type = arguments[1];
  if (type != "-bool" && type != "-int" && type != "-string") {
    return Refuse(problem, "unknown type of value " + Quoted(type) + ": give -bool or -int");
  }
  const bool isBoolean = setting->type == SettingType::kBoolean;
  const std::string wanted = isBoolean ? "-bool" : "-int";
  if (type != wanted) {
    return Refuse(problem, std::string(setting->key) + " holds no " + type.substr(1) +
                               ": write it with " + wanted);
  }
  const std::string& text = arguments[2];
  const std::optional<CFPropertyList> value = isBoolean ? ParseBoolean(text) : ParseNumber(text);
  if (!value) {
    return Refuse(problem, "unusable value " + Quoted(text) + " for " + std::string(setting->key) +
                               (isBoolean ? ": give true, yes, 1, false, no or 0"
                                          : ": give a whole number from -32768 to 32767"));
  }
  *options = WriteDefaultOptions{std::string(setting->key), *value};
  return true;
}

struct DefaultsForm {
  std::string_view verb;
  size_t minimum;
  size_t maximum;
  std::string_view arguments;
};

constexpr std::array<DefaultsForm, 3> kDefaultsForms = {{
    {"read", 0, 1, "[KEY]"},
    {"write", 3, 3, "KEY (-bool|-int) VALUE"},
    {"delete", 1, 1, "KEY"},
}};

const DefaultsForm* FindForm(Arguments arguments, std::string* problem) {
  if (arguments.empty()) {
    *problem = "no command after defaults: give read, write or delete";
    return nullptr;
  }
  const auto* form =
      std::find_if(kDefaultsForms.begin(), kDefaultsForms.end(),
                   [&](const DefaultsForm& known) { return known.verb == arguments[0]; });
  if (form == kDefaultsForms.end()) {
    *problem =
        "unknown command " + Quoted(arguments[0]) + " after defaults: give read, write or delete";
    return nullptr;
  }
  const size_t count = arguments.size() - 1;
  if (count >= form->minimum && count <= form->maximum) return form;
  const std::string usage = ": the form is tessary-cli defaults " + std::string(form->verb) + " " +
                            std::string(form->arguments);
  *problem = count < form->minimum
                 ? "missing argument" + usage
                 : "surplus argument " + Quoted(arguments[form->maximum + 1]) + usage;
  return nullptr;
}

bool ParseDefaults(Arguments arguments, Options* options, std::string* problem) {
  if (!arguments.empty() && arguments[0] == "--help") {
    *options = HelpOptions();
    return true;
  }
  const DefaultsForm* form = FindForm(arguments, problem);
  if (form == nullptr) return false;
  const Arguments rest = arguments.subspan(1);
  if (form->verb == "write") return ParseWrite(rest, options, problem);
  if (!rest.empty() && FindSetting(rest[0], problem) == nullptr) return false;
  if (form->verb == "delete") {
    *options = DeleteDefaultOptions{rest[0]};
  } else {
    *options = ReadDefaultsOptions{rest.empty() ? std::string() : rest[0]};
  }
  return true;
}

constexpr std::array<std::pair<std::string_view, IntegrateAction>, 3> kIntegrateActions = {{
    {"install", IntegrateAction::kInstall},
    {"remove", IntegrateAction::kRemove},
    {"status", IntegrateAction::kStatus},
}};

bool ParseIntegrate(Arguments arguments, Options* options, std::string* problem) {
  constexpr std::string_view kGive = "after integrate: give install, remove or status";
  if (arguments.empty()) return Refuse(problem, "no command " + std::string(kGive));
  if (arguments[0] == "--help") {
    *options = HelpOptions();
    return true;
  }
  for (const auto& [name, action] : kIntegrateActions) {
    if (arguments[0] != name) continue;
    if (arguments.size() > 1) {
      return Refuse(problem, "surplus argument " + Quoted(arguments[1]) +
                                 ": the form is tessary-cli integrate " + std::string(name));
    }
    *options = IntegrateOptions{action};
    return true;
  }
  return Refuse(problem, "unknown command " + Quoted(arguments[0]) + " " + std::string(kGive));
}

bool ParseInfo(Arguments arguments, Options* options, std::string* problem) {
  InfoOptions info;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
      info.files.push_back(argument);
    } else if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--json") {
      info.isJson = true;
    } else if (argument == "--help") {
      *options = HelpOptions();
      return true;
    } else {
      return Refuse(problem, "unknown option " + Quoted(argument) + std::string(kSeeHelp));
    }
  }
  if (info.files.empty()) return Refuse(problem, "no file was given: info takes a FILE or more");
  *options = std::move(info);
  return true;
}

}  // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem) {
  if (arguments.empty()) return Refuse(problem, "no command was given" + std::string(kSeeHelp));
  const std::string& command = arguments[0];
  const Arguments rest = Arguments(arguments).subspan(1);
  if (command == "aggregate") return ParseAggregate(rest, options, problem);
  if (command == "defaults") return ParseDefaults(rest, options, problem);
  if (command == "integrate") return ParseIntegrate(rest, options, problem);
  if (command == "info") return ParseInfo(rest, options, problem);
  if (command != "--help" && command != "--version") {
    return Refuse(problem, std::string("unknown ") + (command[0] == '-' ? "option " : "command ") +
                               Quoted(command) + std::string(kSeeHelp));
  }
  if (!rest.empty()) {
    return Refuse(problem,
                  "surplus argument " + Quoted(rest[0]) + ": " + command + " stands alone");
  }
  if (command == "--help") {
    *options = HelpOptions();
  } else {
    *options = VersionOptions();
  }
  return true;
}

}  // namespace tessary
