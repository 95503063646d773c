#include "programs/cli/option_parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

namespace tessary {
namespace {

std::string_view LongName(const OptionSpec& option) {
  return option.names.substr(option.names.find("--"));
}

std::vector<OptionSpec> AllOptions(const CommandSpec& command) {
  std::vector<OptionSpec> options(command.options.begin(), command.options.end());
  options.push_back({"-h,--help", "", "print this help and exit"});
  return options;
}

// The beginning of an option's lines in the help. Long names line up whether or not there is a
// short one: "  -k, --kind=KIND  ", "      --copy  ".
std::string Label(const OptionSpec& option) {
  const bool hasShortName = !option.names.starts_with("--");
  std::string label =
      hasShortName ? "  " + std::string(option.names.substr(0, 2)) + ", " : "      ";
  label += LongName(option);
  if (!option.value.empty()) label.append("=").append(option.value);
  return label + "  ";
}

UsageError UnknownOption(const std::string& argument, const CommandSpec& command) {
  const size_t shortestName = std::string_view("--x").size();
  const std::string name = argument.substr(0, argument.find('=', shortestName));
  std::vector<std::string_view> known;
  for (const OptionSpec& option : AllOptions(command)) known.push_back(LongName(option));
  const std::string problem = name + ": unknown option";
  const std::string suggestion = Suggestion(name, known);
  return UsageError(suggestion.empty() ? WithHelpHint(problem, command) : problem + suggestion);
}

UsageError MissingValue(const std::string& option, const CommandSpec& command) {
  return UsageError(WithHelpHint("option " + option + " requires a value", command));
}

// Checks the arguments of the form "--name=value". The library would accept some values for an
// option that takes none, and would take the next argument for the value in "--kind=".
void CheckAttachedValues(const CommandSpec& command, const std::vector<std::string>& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  for (auto argument = arguments.begin(); argument != end; ++argument) {
    for (const OptionSpec& option : AllOptions(command)) {
      const std::string name(LongName(option));
      if (!argument->starts_with(name + "=")) continue;
      if (option.value.empty()) {
        throw UsageError(WithHelpHint("option " + name + " does not take a value", command));
      }
      if (argument->size() == name.size() + 1) throw MissingValue(name, command);
    }
  }
}

// Parses with the library. Returns false if help is wanted.
bool RunParser(const CommandSpec& command, const std::vector<std::string>& arguments,
               CLI::App* app) {
  app->allow_extras();
  for (const OptionSpec& option : command.options) {
    const std::string names(option.names);
    CLI::Option* added = option.value.empty() ? app->add_flag(names) : app->add_option(names);
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }
  try {
    app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    return false;
  } catch (const CLI::ArgumentMismatch& error) {
    // The message begins with the option's name and a colon.
    const std::string message = error.what();
    throw MissingValue(message.substr(0, message.find(':')), command);
  }
  return true;
}

// Splits what the library did not recognize. The first "--" that is left ends the options.
void TakeOperands(const std::vector<std::string>& rest, const CommandSpec& command,
                  ParsedArguments* parsed) {
  bool isAfterOptions = false;
  for (const std::string& argument : rest) {
    if (!isAfterOptions && argument == "--") {
      isAfterOptions = true;
      continue;
    }
    const bool isDashed = !isAfterOptions && argument.size() > 1 && argument[0] == '-';
    const bool isOption = isDashed && (argument[1] == '-' || !command.hasDashedOperands);
    if (isOption && !parsed->isHelpWanted) throw UnknownOption(argument, command);
    parsed->operands.push_back(argument);
  }
}

// Letter case does not count.
size_t EditDistance(std::string_view first, std::string_view second) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::vector<size_t> row(second.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < first.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < second.size(); ++j) {
      const size_t replaced = diagonal + (lower(first[i]) == lower(second[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

bool ParseArguments(const CommandSpec& command, const std::vector<std::string>& arguments,
                    ParsedArguments* parsed, std::string* problem) try {
  CheckAttachedValues(command, arguments);
  CLI::App app;
  ParsedArguments result;
  result.isHelpWanted = !RunParser(command, arguments, &app);
  TakeOperands(app.remaining(), command, &result);
  for (const OptionSpec& option : command.options) {
    const std::string name(LongName(option));
    if (app.count(name) > 0) result.options[name] = app.get_option(name)->results();
  }
  *parsed = std::move(result);
  return true;
} catch (const std::runtime_error& error) {
  // A UsageError, or an error of the library's own, which has the same base.
  *problem = error.what();
  return false;
}

std::string HelpText(const CommandSpec& command) {
  const std::vector<OptionSpec> options = AllOptions(command);
  size_t width = 0;
  for (const OptionSpec& option : options) width = std::max(width, Label(option).size());
  std::string help = "Usage:\n" + std::string(command.usage) + "\n";
  help.append(command.description).append("\nOptions:\n");
  for (const OptionSpec& option : options) {
    const std::string label = Label(option);
    help.append(label).append(width - label.size(), ' ');
    for (const char c : option.help) {
      help += c;
      if (c == '\n') help.append(width, ' ');
    }
    help += '\n';
  }
  if (!command.footer.empty()) help.append("\n").append(command.footer);
  return help;
}

std::string WithHelpHint(std::string_view problem, const CommandSpec& command) {
  return std::string(problem) + ". Try '" + std::string(command.name) + " --help'.";
}

std::string Suggestion(std::string_view word, std::span<const std::string_view> known) {
  // Of a short word, more edits would leave nothing.
  size_t bestDistance = std::min<size_t>(2, word.size() / 3) + 1;
  std::string_view best;
  for (const std::string_view candidate : known) {
    const bool isPrefix = word.size() > 2 && candidate.starts_with(word);
    const size_t distance = isPrefix ? 0 : EditDistance(word, candidate);
    if (distance >= bestDistance) continue;
    best = candidate;
    bestDistance = distance;
  }
  return best.empty() ? "" : "; did you mean " + std::string(best) + "?";
}

}  // namespace tessary
