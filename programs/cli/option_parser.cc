#include "programs/cli/option_parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>

namespace tessary {
namespace {

constexpr char kHelpNames[] = "-h,--help";

// Option names line up whether or not they have a short form: "-k, --kind=KIND", "    --copy".
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(const CommandSpec& command) : command_(command) {}

  std::string make_help(const CLI::App* app, std::string /*name*/,
                        CLI::AppFormatMode mode) const override {
    std::string help = "Usage:\n" + std::string(command_.usage);
    help.append("\n").append(command_.description);
    help.append(make_groups(app, mode));
    if (!command_.footer.empty()) help.append("\n").append(command_.footer);
    return help;
  }

  std::string make_option_name(const CLI::Option* option, bool /*isPositional*/) const override {
    const std::vector<std::string>& shortNames = option->get_snames();
    const std::string shortName = shortNames.empty() ? "    " : "-" + shortNames.front() + ", ";
    return shortName + "--" + option->get_lnames().front();
  }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string& value = option->get_option_text();
    return value.empty() ? "" : "=" + value;
  }

 private:
  const CommandSpec& command_;
};

std::string_view LongName(const OptionSpec& option) {
  return option.names.substr(option.names.find("--"));
}

void AddOptions(const CommandSpec& command, CLI::App* app) {
  app->allow_extras();
  // The option that every App has from its beginning would come first in the help.
  app->set_help_flag();
  for (const OptionSpec& option : command.options) {
    const std::string names(option.names);
    if (option.value.empty()) {
      app->add_flag(names)->description(std::string(option.help));
    } else {
      app->add_option(names)
          ->description(std::string(option.help))
          ->option_text(std::string(option.value))
          ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
  }
  app->set_help_flag(kHelpNames, "print this help and exit");
}

std::vector<std::string_view> LongNames(const CommandSpec& command) {
  std::vector<std::string_view> names = {"--help"};
  for (const OptionSpec& option : command.options) names.push_back(LongName(option));
  return names;
}

std::string DescribeUnknownOption(const std::string& argument, const CommandSpec& command) {
  const size_t shortestName = std::string_view("--x").size();
  const std::string name = argument.substr(0, argument.find('=', shortestName));
  const std::string suggestion = Suggestion(name, LongNames(command));
  if (!suggestion.empty()) return name + ": unknown option" + suggestion;
  return WithHelpHint(name + ": unknown option", command);
}

// Checks the arguments of the form "--name=value". The library would accept some values for an
// option that takes none, and would take the next argument for the value in "--kind=".
bool CheckAttachedValues(const CommandSpec& command, const std::vector<std::string>& arguments,
                         std::string* problem) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return true;
    const size_t nameEnd = argument.find('=');
    if (nameEnd == std::string::npos) continue;
    const std::string name = argument.substr(0, nameEnd);
    const auto option = std::ranges::find(command.options, name, LongName);
    const bool isKnown = option != command.options.end();
    if (isKnown ? option->value.empty() : name == "--help") {
      *problem = WithHelpHint("option " + name + " does not take a value", command);
      return false;
    }
    if (isKnown && nameEnd + 1 == argument.size()) {
      *problem = WithHelpHint("option " + name + " requires a value", command);
      return false;
    }
  }
  return true;
}

// Splits what the library did not recognize. The first "--" that is left ends the options.
bool TakeOperands(const std::vector<std::string>& rest, const CommandSpec& command,
                  ParsedArguments* parsed, std::string* problem) {
  bool isAfterOptions = false;
  for (const std::string& argument : rest) {
    if (!isAfterOptions && argument == "--") {
      isAfterOptions = true;
      continue;
    }
    const bool isDashed = !isAfterOptions && argument.size() > 1 && argument[0] == '-';
    const bool isOption = isDashed && (argument[1] == '-' || !command.hasDashedOperands);
    if (isOption && !parsed->isHelpWanted) {
      *problem = DescribeUnknownOption(argument, command);
      return false;
    }
    parsed->operands.push_back(argument);
  }
  return true;
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
                    ParsedArguments* parsed, std::string* problem) {
  if (!CheckAttachedValues(command, arguments, problem)) return false;
  ParsedArguments result;
  CLI::App app;
  AddOptions(command, &app);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    result.isHelpWanted = true;
  } catch (const CLI::ArgumentMismatch& error) {
    // The message begins with the option's name and a colon.
    const std::string_view message = error.what();
    const std::string name(message.substr(0, message.find(':')));
    *problem = WithHelpHint("option " + name + " requires a value", command);
    return false;
  } catch (const CLI::Error& error) {
    *problem = error.what();
    return false;
  }
  if (!TakeOperands(app.remaining(), command, &result, problem)) return false;
  for (const OptionSpec& option : command.options) {
    const std::string name(LongName(option));
    if (app.count(name) > 0) result.options[name] = app.get_option(name)->results();
  }
  *parsed = std::move(result);
  return true;
}

std::string HelpText(const CommandSpec& command) {
  constexpr size_t kShortName = 4;  // "-k, "
  constexpr size_t kMargins = 4;    // two spaces on either side
  size_t width = std::string_view("--help").size();
  for (const OptionSpec& option : command.options) {
    const size_t value = option.value.empty() ? 0 : 1 + option.value.size();
    width = std::max(width, LongName(option).size() + value);
  }
  const auto formatter = std::make_shared<HelpFormatter>(command);
  formatter->column_width(kShortName + width + kMargins);
  CLI::App app;
  AddOptions(command, &app);
  app.formatter(formatter);
  return app.help();
}

std::string WithHelpHint(std::string_view problem, const CommandSpec& command) {
  return std::string(problem) + ". Try '" + std::string(command.name) + " --help'.";
}

std::string Suggestion(std::string_view word, std::span<const std::string_view> known) {
  // Of a short word, more edits would leave nothing.
  const size_t maxDistance = std::min<size_t>(2, word.size() / 3);
  std::optional<std::string_view> best;
  size_t bestDistance = maxDistance + 1;
  for (const std::string_view candidate : known) {
    const bool isPrefix = word.size() > 2 && candidate.starts_with(word);
    const size_t distance = isPrefix ? 0 : EditDistance(word, candidate);
    if (distance >= bestDistance) continue;
    best = candidate;
    bestDistance = distance;
  }
  return best ? "; did you mean " + std::string(*best) + "?" : "";
}

}  // namespace tessary
